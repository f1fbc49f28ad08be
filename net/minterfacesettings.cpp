#include "minterfacesettings.h"

MInterfaceSettings::MInterfaceSettings(const QString &interfaceName) : name(interfaceName) {}
