#pragma once
// The members of a CIECA EMS file set: xBASE tables in one folder that share the envelope's
// base name and differ by extension. Estimating platforms write the names in either case,
// so every member is found without regard to case.

#include <QString>
#include <QStringList>

namespace tarnaxe {

// The members read for the summaries, in the order they are opened.
enum class EmsMember { Envelope, Administrative1, Administrative2, Vehicle, Totals, ProfileTotals };
inline constexpr int kEmsMemberCount = 6;

// The envelope path up to the first ".env" (found without regard to case, even in a folder
// name); the whole path when it holds none.
QString emsBaseName(const QString& envelopePath);

// The spellings of a member, in the order they are tried: ".ad1" before "a.ad1", ".ad2"
// before "b.ad2", ".veh" before "v.veh"; one spelling for the others.
QStringList emsMemberSuffixes(EmsMember member);

// The existing, non-empty file at path, its last component matched without regard to case;
// empty when there is none.
QString findExistingFile(const QString& path);

// The file of a member of the set at base: the first spelling that exists as a non-empty
// file, without regard to case. When none exists, base + the first spelling, so that the
// open reports the file as missing.
QString emsMemberPath(const QString& base, EmsMember member);

} // namespace tarnaxe
