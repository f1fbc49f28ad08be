#include "processflags.h"

std::atomic<bool> disTTYS0Test{false};
