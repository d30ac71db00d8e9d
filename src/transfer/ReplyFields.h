#pragma once
// The field layout of the server's pages: Name:Value pairs, each ended by a TAB, read
// from a reply kept as bytes. Positions are 1-based, as the callers count them.
//
//     QByteArray status;
//     if (!FindField(reply, "Status", status)) ...   // no "Status" field at all
//
// A field counts only when a TAB follows it, names are compared case-sensitively, a
// value keeps every colon after the first, and a binary field is cut out by position.

#include <QByteArray>
#include <QString>

namespace tarnaxe {

// The field that starts at position: its length up to the next TAB (0 when no TAB
// follows, the field then being empty), its name before the first colon and its value
// after it (both empty when the field has no colon or starts with one). False when
// position is before 1 or past the end.
bool NextField(const QByteArray& text, qsizetype position, qsizetype& length, QByteArray& name,
               QByteArray& value);

// Scans the reply from its start for the field called name.
bool FindField(const QByteArray& reply, const QByteArray& name, QByteArray& value);

// FindField's value, or empty when the field is missing.
QByteArray GetField(const QByteArray& reply, const QByteArray& name);

// The value as text (Windows-1252, one character per byte).
QString GetFieldText(const QByteArray& reply, const QByteArray& name);

// The length bytes that follow "name:" of the first field called name, whatever they
// hold (TABs included); fewer when the reply ends first. False when no field has the name.
bool FindBinaryField(const QByteArray& reply, const QByteArray& name, qint64 length,
                     QByteArray& data);

} // namespace tarnaxe
