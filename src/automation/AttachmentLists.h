#pragma once
// The four lists of things picked for upload: "Photos", "PrintDocs" and "Files" (paths
// with captions) and "Estimates" (estimate records). Shared by every IO object of the
// process; addressed by exact, case-sensitive names; numbered from 1 for the page.

#include "ems/EstimateRecord.h"
#include "platform/Variant.h"

#include <QList>
#include <QString>
#include <optional>

namespace tarnaxe {

enum class ListKind { Photos, PrintDocs, Files, Estimates };

std::optional<ListKind> listKindByName(const QString& name);

struct AttachedFile {
    QString path;
    QString caption;
};

class AttachmentLists {
public:
    qint16 countOf(const QString& name) const;
    // The item's path (the envelope path for an estimate), or the list's out-of-range text.
    QString nameOf(const QString& name, qint16 number) const;
    // The item's caption as a string, or the out-of-range text ("<bad>" for estimates).
    QString captionOf(const QString& name, qint16 number) const;
    void setCaptionOf(const QString& name, qint16 number, const QString& caption);
    void zap(const QString& name);
    // Removes one item, keeping the order of the rest; an unknown name or number does
    // nothing. The file on disk stays.
    void remove(const QString& name, qint16 number);

    void appendPhoto(const QString& path, const QString& caption);
    void appendPrintDoc(const QString& path, const QString& caption);
    void appendFile(const QString& path);
    void appendEstimate(const EstimateRecord& record);

    const QList<AttachedFile>& photos() const { return m_photos; }
    const QList<AttachedFile>& printDocs() const { return m_printDocs; }
    const QList<AttachedFile>& files() const { return m_files; }
    const QList<EstimateRecord>& estimates() const { return m_estimates; }
    QList<EstimateRecord>& estimates() { return m_estimates; }

private:
    QList<AttachedFile>* fileList(ListKind kind);
    const QList<AttachedFile>* fileList(ListKind kind) const;

    QList<AttachedFile> m_photos;
    QList<AttachedFile> m_printDocs;
    QList<AttachedFile> m_files;
    QList<EstimateRecord> m_estimates;
};

} // namespace tarnaxe
