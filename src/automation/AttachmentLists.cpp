#include "automation/AttachmentLists.h"

namespace tarnaxe {

namespace {

QString badNumberText(std::optional<ListKind> kind)
{
    if (!kind)
        return QStringLiteral("<bad>");
    switch (*kind) {
    case ListKind::Photos:
        return QStringLiteral("<bad photo number>");
    case ListKind::PrintDocs:
        return QStringLiteral("<bad print doc number>");
    case ListKind::Files:
        return QStringLiteral("<bad file attach number>");
    case ListKind::Estimates:
        return QStringLiteral("<bad estimate number>");
    }
    return QStringLiteral("<bad>");
}

bool inRange(qint16 number, qsizetype count)
{
    return number >= 1 && number <= count;
}

// The lists are counted in 16 bits for the page; one more item would overflow.
template <typename T> void appendChecked(QList<T>& list, const T& item)
{
    if (list.size() >= 32767)
        throw AutomationError::overflow();
    list.append(item);
}

} // namespace

std::optional<ListKind> listKindByName(const QString& name)
{
    if (name == QLatin1String("Photos"))
        return ListKind::Photos;
    if (name == QLatin1String("PrintDocs"))
        return ListKind::PrintDocs;
    if (name == QLatin1String("Files"))
        return ListKind::Files;
    if (name == QLatin1String("Estimates"))
        return ListKind::Estimates;
    return std::nullopt;
}

QList<AttachedFile>* AttachmentLists::fileList(ListKind kind)
{
    return const_cast<QList<AttachedFile>*>(std::as_const(*this).fileList(kind));
}

const QList<AttachedFile>* AttachmentLists::fileList(ListKind kind) const
{
    switch (kind) {
    case ListKind::Photos:
        return &m_photos;
    case ListKind::PrintDocs:
        return &m_printDocs;
    case ListKind::Files:
        return &m_files;
    case ListKind::Estimates:
        return nullptr;
    }
    return nullptr;
}

qint16 AttachmentLists::countOf(const QString& name) const
{
    const auto kind = listKindByName(name);
    if (!kind)
        return 0;
    if (*kind == ListKind::Estimates)
        return static_cast<qint16>(m_estimates.size());
    return static_cast<qint16>(fileList(*kind)->size());
}

QString AttachmentLists::nameOf(const QString& name, qint16 number) const
{
    const auto kind = listKindByName(name);
    if (kind == ListKind::Estimates) {
        if (inRange(number, m_estimates.size()))
            return m_estimates[number - 1].envelopeFile;
    } else if (kind) {
        const auto* list = fileList(*kind);
        if (inRange(number, list->size()))
            return (*list)[number - 1].path;
    }
    return badNumberText(kind);
}

QString AttachmentLists::captionOf(const QString& name, qint16 number) const
{
    const auto kind = listKindByName(name);
    // Estimates have no captions: always "<bad>", in range or not.
    if (!kind || *kind == ListKind::Estimates)
        return QStringLiteral("<bad>");
    const auto* list = fileList(*kind);
    if (inRange(number, list->size()))
        return (*list)[number - 1].caption;
    return badNumberText(kind);
}

void AttachmentLists::setCaptionOf(const QString& name, qint16 number, const QString& caption)
{
    const auto kind = listKindByName(name);
    if (!kind || *kind == ListKind::Estimates)
        return;
    auto* list = fileList(*kind);
    if (inRange(number, list->size()))
        (*list)[number - 1].caption = caption;
}

void AttachmentLists::zap(const QString& name)
{
    const auto kind = listKindByName(name);
    if (!kind)
        return;
    if (*kind == ListKind::Estimates)
        m_estimates.clear();
    else
        fileList(*kind)->clear();
}

void AttachmentLists::remove(const QString& name, qint16 number)
{
    const auto kind = listKindByName(name);
    if (kind == ListKind::Estimates) {
        if (inRange(number, m_estimates.size()))
            m_estimates.removeAt(number - 1);
    } else if (kind) {
        auto* list = fileList(*kind);
        if (inRange(number, list->size()))
            list->removeAt(number - 1);
    }
}

void AttachmentLists::appendPhoto(const QString& path, const QString& caption)
{
    appendChecked(m_photos, AttachedFile{path, caption});
}

void AttachmentLists::appendPrintDoc(const QString& path, const QString& caption)
{
    appendChecked(m_printDocs, AttachedFile{path, caption});
}

void AttachmentLists::appendFile(const QString& path)
{
    appendChecked(m_files, AttachedFile{path, QString()});
}

void AttachmentLists::appendEstimate(const EstimateRecord& record)
{
    appendChecked(m_estimates, record);
}

} // namespace tarnaxe
