#pragma once
// Attaching any file by hand: the file-open dialog, then each chosen file routed by its
// extension to "Photos", print capture or "Files", with the size limit and the notices.

#include <QString>
#include <QStringList>

namespace tarnaxe {

struct AgentContext;

// The files named by a file dialog's answer: one path, or a folder followed by names,
// separated by NUL characters.
QStringList parseChosenFiles(const QString& chosen);

// The largest file accepted into "Files": MaxKperPDF kilobytes, but never below 3,000,000
// bytes.
qint64 fileSizeLimit(qint32 maxKperPDF);

// Shows the dialog and attaches what was chosen; every problem ends in a message box.
void attachFilesByHand(AgentContext& context);

} // namespace tarnaxe
