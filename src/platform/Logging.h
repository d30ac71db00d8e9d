#pragma once
// One logging category per subsystem.

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcAutomation)
Q_DECLARE_LOGGING_CATEGORY(lcConfig)
Q_DECLARE_LOGGING_CATEGORY(lcTransfer)
Q_DECLARE_LOGGING_CATEGORY(lcEms)
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
Q_DECLARE_LOGGING_CATEGORY(lcBridge)
Q_DECLARE_LOGGING_CATEGORY(lcHttp)
