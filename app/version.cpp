#include "version.h"

const QString PROJECT_COMPILE_VERSION = QStringLiteral("0.0.7.10");
const QString PROJECT_COMPILE_DATE = QStringLiteral("14.02.2018");
const QString PROJECT_COMPILE_TIME = QStringLiteral("16:22");
const int32_t PROJECT_SVN_REVISION = 327;
