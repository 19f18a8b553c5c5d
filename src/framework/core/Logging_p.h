#pragma once

#include <QLoggingCategory>

// One logging category a subsystem; diagnostics go here, never to the user's sync log.
Q_DECLARE_LOGGING_CATEGORY(lcCore)
Q_DECLARE_LOGGING_CATEGORY(lcIPod)
Q_DECLARE_LOGGING_CATEGORY(lcPlugins)
Q_DECLARE_LOGGING_CATEGORY(lcSync)
Q_DECLARE_LOGGING_CATEGORY(lcIPodDb)
Q_DECLARE_LOGGING_CATEGORY(lcNet)
Q_DECLARE_LOGGING_CATEGORY(lcFeeds)
Q_DECLARE_LOGGING_CATEGORY(lcSystem)
