#include "platform/Logging.h"

Q_LOGGING_CATEGORY(lcAutomation, "tarnaxe.automation")
Q_LOGGING_CATEGORY(lcConfig, "tarnaxe.config")
Q_LOGGING_CATEGORY(lcTransfer, "tarnaxe.transfer")
Q_LOGGING_CATEGORY(lcEms, "tarnaxe.ems")
Q_LOGGING_CATEGORY(lcPlatform, "tarnaxe.platform")
Q_LOGGING_CATEGORY(lcBridge, "tarnaxe.bridge")
Q_LOGGING_CATEGORY(lcHttp, "tarnaxe.http")
Q_LOGGING_CATEGORY(lcPhotos, "tarnaxe.photos")
Q_LOGGING_CATEGORY(lcEstimates, "tarnaxe.estimates")
Q_LOGGING_CATEGORY(lcPrintCapture, "tarnaxe.printcapture")
