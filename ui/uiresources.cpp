#include "uiresources.h"

#include <QtGlobal>

static void initKx4Resources()
{
    Q_INIT_RESOURCE(kx4resources);
}

namespace UiResources {

void init()
{
    static const bool done = (initKx4Resources(), true);
    Q_UNUSED(done)
}

} // namespace UiResources
