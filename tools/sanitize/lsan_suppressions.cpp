// Leak suppressions compiled into every program of a sanitizer build, so a
// child that a test starts with an environment of its own honours them too.
// Only leaks whose whole stack lies inside Qt's platform plugins: the
// offscreen and vnc plugins keep a few allocations until exit.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libqoffscreen.so\n"
           "leak:libqvnc.so\n";
}
