// Leak suppressions compiled into every program of a sanitizer build, so a
// child that a test starts with an environment of its own honours them too.
// Only leaks whose whole stack lies inside Qt's platform plugins: the
// offscreen and vnc plugins keep a few allocations until exit.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libqoffscreen.so\n"
           "leak:libqvnc.so\n";
}

// The count of suppressed leaks is not printed at exit: programs whose
// output a test reads end with their own last lines.
extern "C" const char *__lsan_default_options()
{
    return "print_suppressions=0";
}
