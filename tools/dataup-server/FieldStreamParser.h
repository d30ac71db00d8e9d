#pragma once
// Takes a request body apart as it arrives: "Name:Value" text fields ended by TABs, until
// a field named File or Blob, whose bytes (everything to the end of the body) go straight
// into a BinarySpool.

#include "BinarySpool.h"
#include "Fields.h"

#include <QByteArray>
#include <QString>

namespace tarnaxe::dataup {

class FieldStreamParser {
public:
    explicit FieldStreamParser(BinarySpool& spool) : m_spool(spool) {}

    // False when the text is malformed or the spool failed; error() says why, and the
    // rest of the body should not be fed.
    bool feed(const char* data, qint64 size);
    // The end of the body. A last text field without its TAB is taken as it is.
    bool finish();

    const Fields& fields() const { return m_fields; }
    bool hasBinary() const { return m_inBinary; }
    const QByteArray& binaryName() const { return m_binaryName; }
    const QString& error() const { return m_error; }

private:
    bool takeField(const QByteArray& field);
    bool fail(const QString& message);

    BinarySpool& m_spool;
    Fields m_fields;
    QByteArray m_pending; // the text field being read, up to its TAB
    bool m_inBinary = false;
    QByteArray m_binaryName;
    QString m_error;
};

// Text fields longer than this are refused: only binary fields may be large.
inline constexpr qint64 kMaxTextField = 1024 * 1024;

} // namespace tarnaxe::dataup
