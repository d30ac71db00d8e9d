#include "transfer/AssignmentReads.h"

#include "platform/Variant.h"
#include "platform/Windows1252.h"
#include "transfer/ReplyFields.h"
#include "transfer/TransferView.h"
#include "transfer/WireFields.h"
#include "transfer/clsComm.h"

#include <algorithm>
#include <limits>

namespace tarnaxe {

namespace {

bool isSuccess(const QByteArray& status)
{
    return fromWindows1252(status).toUpper() == QLatin1String("SUCCESS");
}

} // namespace

bool AssignmentReads::readStatusPage(const QString& page, const QString& assignmentGuid,
                                     QString& message)
{
    m_http.PostPage = page;
    QString error;
    if (!m_http.SendData(wireField(QStringLiteral("GUID:"), assignmentGuid), error)) {
        message = error;
        return false;
    }
    m_view.setMessage(QStringLiteral("Connected to Server!"));
    const QByteArray& reply = m_http.ResponseData;
    QByteArray status;
    if (!FindField(reply, "Status", status)) {
        message = QStringLiteral("Read Error: No Status returned");
        return false;
    }
    if (!isSuccess(status)) {
        QByteArray text;
        message = FindField(reply, "ErrorMessage", text)
                      ? QStringLiteral("Read Error: ") + fromWindows1252(text)
                      : QStringLiteral("Read Error: Unspecified Error!");
        return false;
    }
    return true;
}

bool AssignmentReads::readHeader(const QString& assignmentGuid, QString& message)
{
    message = QStringLiteral("Reading Assignment: ");
    if (!readStatusPage(QStringLiteral("/dataup/ReadAssignment.asp"), assignmentGuid, message))
        return false;
    message = QStringLiteral("Displaying status fields");
    const QByteArray& reply = m_http.ResponseData;
    m_view.showAssignmentHeader(QStringLiteral("Claim #: ") + GetFieldText(reply, "ClaimNumber"),
                                QStringLiteral("Policy #: ") + GetFieldText(reply, "PolicyNumber"),
                                QStringLiteral("Insurance Co: ") +
                                    GetFieldText(reply, "CompanyName"));
    message = QStringLiteral("OK");
    return true;
}

bool AssignmentReads::ReadAssignmentBasename(const QString& assignmentGuid, QString& message,
                                             QString& basename)
{
    basename.clear();
    message = QStringLiteral("Reading Assignment Basename: ");
    if (!readStatusPage(QStringLiteral("/dataup/ReadAssignmentBasename.asp"), assignmentGuid,
                        message))
        return false;
    message = QStringLiteral("OK");
    basename = GetFieldText(m_http.ResponseData, "Basename");
    return true;
}

bool AssignmentReads::readBlob(const QString& page, const QString& fields, const QString& prefix,
                               const QString& noDataText, QByteArray& data, QString& error)
{
    data.clear();
    m_http.PostPage = page;
    if (!m_http.SendData(fields, error))
        return false;
    const QByteArray& reply = m_http.ResponseData;
    QByteArray status;
    if (!FindField(reply, "Status", status)) {
        error = prefix + QStringLiteral("No Status returned");
        return false;
    }
    if (!isSuccess(status)) {
        QByteArray text;
        error = FindField(reply, "ErrorMessage", text)
                    ? prefix + fromWindows1252(text)
                    : prefix + QStringLiteral("Unspecified Error!");
        return false;
    }
    QByteArray sizeText;
    if (!FindField(reply, "ExportSize", sizeText)) {
        error = prefix + QStringLiteral("No Export Size returned");
        return false;
    }
    // Its numeric value as the automation Val() reads it; anything unreadable counts as 0,
    // and no reply can hold more than the largest blob a QByteArray can.
    const double value = leadingNumber(fromWindows1252(sizeText));
    const qint64 size =
        value > 0 ? qint64(std::min(value, double(std::numeric_limits<qsizetype>::max()))) : 0;
    if (size <= 0)
        return true; // no data is not an error; callers treat empty as none
    if (!FindBinaryField(reply, "Export", size, data)) {
        error = noDataText;
        return false;
    }
    return true;
}

bool AssignmentReads::GetEMSAssignmentBlob(const QString& sGUID, const QString& sFieldName,
                                           QByteArray& sData, QString& sError)
{
    return readBlob(QStringLiteral("/dataup/ReadAssignmentExport.asp"),
                    wireField(QStringLiteral("GUID:"), sGUID) +
                        wireField(QStringLiteral("ExportField:"), sFieldName),
                    QStringLiteral("EMSBlobReadError: "),
                    QStringLiteral("EMSBlobReadError: No export data returned"), sData, sError);
}

bool AssignmentReads::GetAssignmentEMS(const QString& sGUID, const QString& sFieldName,
                                       QByteArray& sData, QString& sError)
{
    // The two blanks are what this page's callers have always shown.
    return readBlob(QStringLiteral("/dataup/ReadAssignmentEMS.asp"),
                    wireField(QStringLiteral("GUID:"), sGUID) +
                        wireField(QStringLiteral("ExportField:"), sFieldName),
                    QStringLiteral("EMSBlobReadError: "),
                    QStringLiteral("EMSBlobReadError: No  data returned"), sData, sError);
}

bool AssignmentReads::GetMIEBlob(const QString& sGUID, QByteArray& sData, QString& sError)
{
    return readBlob(QStringLiteral("/dataup/ReadMIE.asp"),
                    wireField(QStringLiteral("GUID:"), sGUID), QStringLiteral("MIEBlobReadError: "),
                    QStringLiteral("MIEBlobReadError: No export data returned"), sData, sError);
}

} // namespace tarnaxe
