#pragma once
// The members of a CIECA EMS file set: xBASE tables in one folder that share the envelope's
// base name and differ by extension. Estimating platforms write the names in either case,
// so every member is found without regard to case.

#include <QString>
#include <QStringList>
#include <functional>

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

// Programs write a whole set in one case as a rule, so members are looked for first in
// the case of the envelope's extension.
enum class LetterCase { Lower, Upper };
// Upper when the path's extension (after its last ".") has letters and all are capitals.
LetterCase extensionCase(const QString& path);

// The file of a member of the set at base: the first spelling that exists as a non-empty
// file, without regard to case. When none exists, base + the first spelling, so that the
// open reports the file as missing.
QString emsMemberPath(const QString& base, EmsMember member,
                      LetterCase suffixCase = LetterCase::Lower);

// The two halves of emsMemberPath, for callers that test a path by opening it.
// usualSpelling offers accept the spellings in the cases that programs write, until accept
// returns true, and returns that path (empty when it never does): each spelling with its
// suffix in suffixCase, then each in the other cases (the suffix or the whole name in
// upper or lower case, the member letter in either). memberByListing then looks for each
// spelling in a listing of the folder; empty when there is none.
QString usualSpelling(const QString& base, EmsMember member, LetterCase suffixCase,
                      const std::function<bool(const QString&)>& accept);
QString memberByListing(const QString& base, EmsMember member);

} // namespace tarnaxe
