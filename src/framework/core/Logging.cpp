#include "Logging_p.h"

Q_LOGGING_CATEGORY(lcCore, "tivaro.core")
Q_LOGGING_CATEGORY(lcIPod, "tivaro.ipod")
Q_LOGGING_CATEGORY(lcPlugins, "tivaro.plugins")
Q_LOGGING_CATEGORY(lcSync, "tivaro.sync")
Q_LOGGING_CATEGORY(lcIPodDb, "tivaro.ipoddb")
Q_LOGGING_CATEGORY(lcNet, "tivaro.net")
Q_LOGGING_CATEGORY(lcFeeds, "tivaro.feeds")
Q_LOGGING_CATEGORY(lcSystem, "tivaro.system")
