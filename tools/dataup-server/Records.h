#pragma once
// What the store holds, as plain values for the pages and views.

#include "Fields.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <utility>

namespace tarnaxe::dataup {

struct AssignmentRecord {
    QString guid;
    QByteArray claimNumber;
    QByteArray policyNumber;
    QByteArray companyName;
    QByteArray basename;
    QByteArray mie;
    QString createdAt;
};

struct PieceRecord {
    QByteArray name;
    QByteArray data;
};

struct TransactionRecord {
    QString guid;
    QString state; // "open" or "committed"
    QString begunAt;
    QString committedAt;
    bool isOpen() const { return state == QLatin1String("open"); }
};

struct FileRecord {
    qint64 id = 0;
    QString transactionGuid;
    QString location;
    QByteArray fileName; // as the client sent it; never used as a path
    qint64 size = 0;
    QString createdAt;
};

// The file fields of an insert: Location, or the EMS member and MIE fields.
struct InsertFile {
    QByteArray field;
    qint64 fileId = 0;
};

struct InsertRecord {
    qint64 id = 0;
    QString transactionGuid;
    QString kind; // "image", "file", "print" or "ems"
    QByteArray guid;
    QByteArray assignmentGuid;
    bool assignmentKnown = false;
    QByteArray workerGuid;
    QByteArray workerTypeId;
    QByteArray text; // the caption of an image, the description of the others
    QByteArray fileName;
    qint64 fileSize = 0;
    Fields fields; // every field of the request, in order
    QList<InsertFile> files;
    QString createdAt;
};

} // namespace tarnaxe::dataup
