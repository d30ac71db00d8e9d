#pragma once
// The fields of the server's pages: "Name:Value", each ended by a TAB. A TAB or a line
// break inside a value would make the server read the rest as other fields, so free text
// loses them and identifiers that hold one are not sent at all.

#include <QString>

namespace tarnaxe {

struct TransferRequest;

// Free text (captions, file names, values read from estimates) as it can be sent: each
// TAB, CR and LF becomes a blank.
QString wireText(const QString& value);

// "Name:" + wireText(value) + TAB.
QString wireField(const QString& name, const QString& value);

// Why the identifiers that the request's command sends cannot be sent, as a sentence for
// the user; empty when they can.
QString requestProblem(const TransferRequest& request);

} // namespace tarnaxe
