#include "transfer/WireFields.h"

#include "automation/SharedState.h"
#include "platform/Logging.h"

#include <algorithm>
#include <utility>

namespace tarnaxe {

namespace {

bool breaksFields(QChar c)
{
    return c == u'\t' || c == u'\r' || c == u'\n';
}

} // namespace

QString wireText(const QString& value)
{
    if (std::none_of(value.cbegin(), value.cend(), breaksFields))
        return value;
    QString text = value;
    for (QChar& c : text) {
        if (breaksFields(c))
            c = u' ';
    }
    qCInfo(lcTransfer) << "tabs and line breaks sent as blanks in" << text;
    return text;
}

QString wireField(const QString& name, const QString& value)
{
    return name + wireText(value) + QLatin1Char('\t');
}

QString requestProblem(const TransferRequest& request)
{
    QList<std::pair<const char*, const QString*>> sent;
    if (request.IOCommand == QLatin1String("WRITE"))
        sent = {{"AssignmentGUID", &request.AssignmentGUID},
                {"WorkerGUID", &request.WorkerGUID},
                {"WorkerTypeID", &request.WorkerTypeID}};
    else if (request.IOCommand == QLatin1String("READ"))
        sent = {{"AssignmentGUID", &request.AssignmentGUID}};
    else if (request.IOCommand == QLatin1String("READMIE"))
        sent = {{"EstimateGUID", &request.EstimateGUID}};
    for (const auto& [name, value] : sent) {
        if (std::any_of(value->cbegin(), value->cend(), breaksFields))
            return QStringLiteral("The request cannot be sent: %1 holds a tab or a line break.")
                .arg(QLatin1String(name));
    }
    return {};
}

} // namespace tarnaxe
