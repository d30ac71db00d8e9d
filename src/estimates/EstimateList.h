#pragma once
// The exported estimates that the "EMS Estimates" dialog offers: the envelopes (".env") of
// the export folders, newest first, at most 120 of them, each with the facts read from its
// envelope at listing and the heavier facts of its other tables read when first needed.

#include "ems/EstimateRecord.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

namespace tarnaxe {

class EmsReader;

struct EstimateEntry {
    // At listing.
    QString FilePath; // the envelope
    QDateTime FileDate;
    qint64 FileSize = 0;
    qint16 EstType = 0; // 0 Unknown, 1 ADP, 2 CCC, 3 Mitchell, 4 AdjRite
    bool SuppFlag = false;
    QString Status;
    QString SuppNo;
    QString EstFileId;
    // On first display (loadDetails).
    bool DetailsLoaded = false;
    QString ForCompany;
    QString ForClaim;
    QString Description;
    qint32 AmountCents = 0;
    QString Owner;
    QString Insured;
    QString Claimant;
    QString PolicyNo;
    QString Vin;
};

inline constexpr int kMaxListedEstimates = 120;

struct ListedEnvelope {
    QString path;
    qint64 modified = 0; // seconds since 1970 (UTC)
    qint64 size = 0;
};

// Every "*.env" (any case) of the folders, oldest first: by modification second, then by
// path without regard to case. Blank, missing and unreadable folders and hidden files are
// left out. One directory listing per folder; no table is opened.
QList<ListedEnvelope> listEnvelopes(const QStringList& folders);

// Rows for the newest envelopes, newest first, until limit rows are made: an envelope
// that is no table, or whose TRANS_TYPE is neither "E" nor "S", makes none.
QList<EstimateEntry> buildRows(const QList<ListedEnvelope>& envelopes,
                               int limit = kMaxListedEstimates);

// Reads the on-first-display facts from the set's other tables; a table that cannot be
// read leaves its facts empty.
void loadDetails(EmsReader& reader, EstimateEntry& entry);

// The first row, newest first, whose claim and VIN equal these exactly (details loaded
// on the way), or -1.
int autoLocateEstimate(EmsReader& reader, QList<EstimateEntry>& rows, const QString& claim,
                       const QString& vin);

// What one refresh of the dialog produces, off the window's thread.
struct EstimateListing {
    QList<EstimateEntry> rows;
    int autoRow = -1;
};
struct AutoLocateRequest {
    bool requested = false;
    QString claim;
    QString vin;
};
EstimateListing listEstimates(const QStringList& exportFolders, const AutoLocateRequest& locate);

// The record appended to "Estimates" for an entry; mieFile only when MIE is enabled.
EstimateRecord estimateRecordFor(const EstimateEntry& entry, const QString& mieFile);

// The texts the dialogs show.
QString estimateTypeName(int estType);
QString dateCreatedText(const QDateTime& date);      // "03/15/2007 2:05p"
QString amountText(qint32 cents);                    // "$1,234.50"
QString confirmationDateText(const QDateTime& date); // "Mar 15 2007 02:05 p"
QString confirmationAmountText(qint32 cents);        // "$1234.50"

} // namespace tarnaxe
