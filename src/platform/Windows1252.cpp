#include "platform/Windows1252.h"

#include <QStringDecoder>
#include <algorithm>
#include <array>

namespace tarnaxe {

namespace {

// 0x80-0x9F; the rest of the code page is the same as Latin-1.
constexpr std::array<char16_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char16_t decodeByte(unsigned char b)
{
    return (b >= 0x80 && b <= 0x9F) ? kHighControls[b - 0x80] : char16_t(b);
}

} // namespace

QString fromWindows1252(QByteArrayView bytes)
{
    QString text(bytes.size(), Qt::Uninitialized);
    QChar* out = text.data();
    for (const char c : bytes)
        *out++ = QChar(decodeByte(static_cast<unsigned char>(c)));
    return text;
}

QByteArray toWindows1252(QStringView text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u < 0x80 || (u >= 0xA0 && u <= 0xFF)) {
            bytes.append(static_cast<char>(u));
            continue;
        }
        const auto* found = std::find(kHighControls.begin(), kHighControls.end(), u);
        bytes.append(found == kHighControls.end()
                         ? '?'
                         : static_cast<char>(0x80 + (found - kHighControls.begin())));
    }
    return bytes;
}

QString decodeUtf8OrWindows1252(QByteArrayView bytes)
{
    // A leading byte-order mark is kept as U+FEFF rather than dropped, so that nothing
    // vanishes from a value without trace.
    QStringDecoder utf8(QStringDecoder::Utf8,
                        QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = utf8(bytes);
    if (!utf8.hasError())
        return text;
    return fromWindows1252(bytes);
}

} // namespace tarnaxe
