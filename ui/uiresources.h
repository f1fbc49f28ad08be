// The pictures of the screens live in the static resource library; every
// form that shows one calls this first (once is enough, more is harmless).
#pragma once

namespace UiResources {
void init();
}
