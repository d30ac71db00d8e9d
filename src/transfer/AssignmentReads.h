#pragma once
// The exchanges that read an assignment from the server: its header (claim, policy,
// company), the stored EMS pieces, its base name and its MIE data. Each is one SendData
// of "GUID:" (and "ExportField:") through the form's clsComm; a reply is good when its
// "Status", upper-cased, is "SUCCESS".

#include <QByteArray>
#include <QString>

namespace tarnaxe {

class TransferView;
class clsComm;

class AssignmentReads {
public:
    AssignmentReads(clsComm& http, TransferView& view) : m_http(http), m_view(view) {}

    // Shows "Claim #: ...", "Policy #: ...", "Insurance Co: ..." and clears the bar; message
    // "OK", or why not.
    bool readHeader(const QString& assignmentGuid, QString& message);
    // The base name under which the server wants the assignment written; message "OK".
    bool ReadAssignmentBasename(const QString& assignmentGuid, QString& message, QString& basename);

    // A blob: true with empty data when the server holds none.
    bool GetEMSAssignmentBlob(const QString& sGUID, const QString& sFieldName, QByteArray& sData,
                              QString& sError);
    bool GetAssignmentEMS(const QString& sGUID, const QString& sFieldName, QByteArray& sData,
                          QString& sError);
    bool GetMIEBlob(const QString& sGUID, QByteArray& sData, QString& sError);

private:
    bool readStatusPage(const QString& page, const QString& assignmentGuid, QString& message);
    bool readBlob(const QString& page, const QString& fields, const QString& prefix,
                  const QString& noDataText, QByteArray& data, QString& error);

    clsComm& m_http;
    TransferView& m_view;
};

} // namespace tarnaxe
