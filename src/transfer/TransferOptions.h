#pragma once
// How the agent talks to the web application's server, from section "[Transfer]" of the
// settings file:
//   CACertificates=/etc/ssl/office-ca.pem   PEM certificates (a file, or a folder of
//                                           *.pem/*.crt) trusted besides the system's
//   TimeoutSeconds=60                       give up when nothing moves for this long

#include "http/HttpTransport.h"

#include <QString>

namespace tarnaxe {

struct TransferOptions {
    HttpTransportOptions http;
    // Why a value was not taken (an unreadable CA file, a bad number); empty when all
    // were. The defaults stand in for what was not taken.
    QString error;
};

TransferOptions readTransferOptions(const QString& settingsFile);

} // namespace tarnaxe
