#pragma once
// Reads the summaries of an estimate from its EMS file set: the basic information shown in
// lists and returned to the page, single fields for the page, and the envelope and
// preparse values of an attached estimate. Keeps one table reader per member and closes
// them all after every operation, so that no file of a set stays open.

#include "automation/Services.h"
#include "ems/EmsFileSet.h"
#include "ems/clsXBASE.h"

#include <QDate>
#include <QString>
#include <array>
#include <memory>

namespace tarnaxe {

class EmsReader : public EstimateReader {
public:
    EmsReader();
    ~EmsReader() override;
    EmsReader(const EmsReader&) = delete;
    EmsReader& operator=(const EmsReader&) = delete;

    // Fills the basic information of record from the set of envelopePath; the record is
    // left as it was when the result is false. A set whose envelope was last written
    // before cutOff is refused, unless cutOff is 31 December 1951 or earlier.
    bool readBasicInfo(const QString& envelopePath, const QDate& cutOff,
                       EstimateRecord& record) override;

    // The value of fieldName from the envelope, else administrative 1, administrative 2
    // or the vehicle table, the first that has it. False, with an empty value, when any
    // of the four cannot be read or none has the field.
    bool readField(const QString& envelopePath, const QString& fieldName, Variant& value) override;

    // The envelope's length, supplement flag, estimate type, file id, status and
    // supplement number; clears the parsed flag. False when the envelope cannot be read
    // (the length is recorded even then).
    bool fillEnvelopeInfo(EstimateRecord& entry);

    // The preparse values of the entry, from the set its envelope path names (the path
    // less its last four characters is the base). The claimant name is filled only when
    // CUST_PR is "C" and emptied otherwise. The values of a member that cannot be read
    // stay as they were; the entry is marked parsed in any case. False when a member was
    // not read or N_TTL_AMT holds no amount.
    bool fillPreparseInfo(EstimateRecord& entry);

    // Why the last operation failed: the failing reader's ErrorMessage (or the age
    // refusal), and the file it was about; "OK" and empty after a success.
    const QString& lastError() const { return m_lastError; }
    const QString& lastErrorFile() const { return m_lastErrorFile; }

private:
    clsXBASE& reader(EmsMember member);
    // Where the other members of a set are looked for.
    struct MemberLookup {
        QString base;
        LetterCase suffixCase = LetterCase::Lower;
    };
    // The set of the envelope that openEnvelope opened, as named on disk.
    MemberLookup lookupOfOpenedEnvelope() const;

    // Each opens a member's table and reads its first record.
    bool openEnvelope(const QString& envelopePath);
    bool openMemberOf(EmsMember member, const MemberLookup& lookup);
    bool readFirstRecord(EmsMember member, const QString& path);
    QString text(EmsMember member, const QString& fieldName);
    Variant value(EmsMember member, const QString& fieldName);
    void succeed();
    void fail(const QString& message, const QString& file);

    std::array<std::unique_ptr<clsXBASE>, kEmsMemberCount> m_readers;
    std::array<QString, kEmsMemberCount> m_paths; // what each reader last opened
    QString m_lastError;
    QString m_lastErrorFile;
};

} // namespace tarnaxe
