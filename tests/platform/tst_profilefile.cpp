// Profile (INI) files as the Windows profile functions read and write them, and the registry
// file kept in one: what a read finds, and the exact bytes an edit leaves, hostile files
// included.

#include "platform/ProfileFile.h"
#include "platform/RegistryFile.h"
#include "support/FileContents.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;

namespace {

const QString kRoot = QStringLiteral("HKEY_CURRENT_USER");
const QString kKey = QStringLiteral("Software\\Tarn\\Agent");

// The file's bytes; "<garbage>" stands for a megabyte of random bytes.
QByteArray expand(QByteArray bytes)
{
    QByteArray garbage(1 << 20, Qt::Uninitialized);
    QRandomGenerator random(20070315);
    for (char& c : garbage)
        c = char(random.bounded(256));
    return bytes.replace("<garbage>", garbage);
}

// A read when value is kRead (after: the value found, nullptr when none), else a write or,
// when value is nullptr, a removal (after: the bytes left, nullptr when no readable file).
const char* const kRead = "<read>";
struct Row {
    const char* name;
    const char* before; // nullptr: no file; "<folder>": a folder in its place
    const char *section, *key, *value, *after;
    int maxLength = 254;
};

} // namespace

Q_DECLARE_METATYPE(Row)

class TestProfileFile : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;
    // A new test.ini in folders of its own; "<folder>": a folder in its place.
    QString place(const char* content)
    {
        const QString path = m_dir.filePath(QStringLiteral("%1/one/test.ini").arg(++m_files));
        if (content && qstrcmp(content, "<folder>") == 0)
            QDir().mkpath(path);
        else if (content)
            test::writeFileContents(path, expand(content));
        return path;
    }

private slots:
    void access_data()
    {
        const Row rows[] = {
            {"no file", nullptr, "Main", "Name", kRead, nullptr},
            {"names in another case", "[mAIN]\nnAME=Alpha\n", "MAIN", "name", kRead, "Alpha"},
            {"blanks around", " \t[ Main\t] ; x\n \tName \t=  A  B \t\n", " Main ", "\tName", kRead,
             "A  B"},
            {"windows-1252", "[Caf\xE9]\nName=\xFC \x80 \x93q\x94\n", "Café", "Name", kRead,
             "ü € “q”"},
            {"section after garbage", "<garbage>\n[Main]\nName=A", "Main", "Name", kRead, "A"},
            {"cut after the quotes go", "[Main]\nName=\"abcdef\"", "Main", "Name", kRead, "abc", 3},
            {"no half surrogate pair", "[Main]\nName=a\xF0\x9F\x98\x80z", "Main", "Name", kRead,
             "a", 2},
            {"other lines kept byte for byte",
             "; top\n[Main]\n # n \nA = 1 \n\xFF\xFE odd\nName = old\n\n[N]\nName=x\n", "Main",
             "NAME", "new",
             "; top\n[Main]\n # n \nA = 1 \n\xFF\xFE odd\nName=new\n\n[N]\nName=x\n"},
            {"added after the last key", "[Main]\nA=1\n; end\n\n[N]\n", "Main", "C", " 3\t",
             "[Main]\nA=1\nC=3\n; end\n\n[N]\n"},
            {"new section after a blank line", "[Main]\nA=1", "New", "K", "v",
             "[Main]\nA=1\n\n[New]\nK=v\n"},
            {"new file and folder", nullptr, "New", "K", "; not a comment",
             "[New]\nK=; not a comment\n"},
            {"first line decides the line end", "[Main]\nA=1\r\n", "Main", "B", "2",
             "[Main]\nA=1\r\nB=2\n"},
            {"garbage kept", "<garbage>\n[Main]\nName=A\n", "Main", "Name", "B",
             "<garbage>\n[Main]\nName=B\n"},
            {"refused: empty section", "[S]\n", "", "K", "v", "[S]\n"},
            {"refused: equals sign in key", "[S]\n", "S", "a=b", "v", "[S]\n"},
            {"refused: line end in value", "[S]\n", "S", "K", "one\rtwo", "[S]\n"},
            {"refused: a folder in its place", "<folder>", "Main", "K", "v", nullptr},
            {"removes every duplicate of the first section",
             "[Main]\nName=1\nB=2\nNAME=3\n[main]\nName=4", "Main", "Name", nullptr,
             "[Main]\nB=2\n[main]\nName=4"},
            {"removes from no file", nullptr, "Main", "Name", nullptr, nullptr},
        };
        QTest::addColumn<Row>("e");
        for (const Row& e : rows)
            QTest::newRow(e.name) << e;
    }
    void access()
    {
        QFETCH(Row, e);
        ProfileFile file(place(e.before));
        if (e.value == kRead) {
            QCOMPARE(file.read(e.section, e.key, "<none>", e.maxLength),
                     e.after ? e.after : "<none>");
            QCOMPARE(file.contains(e.section, e.key), e.after != nullptr);
            QCOMPARE(QFileInfo::exists(file.path()), e.before != nullptr);
            return;
        }
        const bool done =
            e.value ? file.write(e.section, e.key, e.value) : file.remove(e.section, e.key);
        QCOMPARE(done, !QByteArrayView(e.name).startsWith("refused"));
        QCOMPARE(test::fileContents(file.path()),
                 e.after ? expand(e.after) : QByteArray("<unreadable>"));
        if (done)
            QCOMPARE(file.read(e.section, e.key, "<none>"),
                     e.value ? QString(e.value).trimmed() : "<none>");
        const QStringList left = test::folderEntries(QFileInfo(file.path()).path());
        QVERIFY2(left.isEmpty() || left == QStringList{"test.ini"}, qPrintable(left.join(' ')));
    }

    // Saving only if unchanged leaves an edit made meanwhile in an editor, and writes when
    // nobody touched the file.
    void snapshotKeepsAnEditMadeMeanwhile()
    {
        const QString path = place("[Main]\nA=1\n");
        ProfileSnapshot first(path), second(path);
        QVERIFY(first.write("Main", "B", "2") && second.write("Main", "C", "3"));
        QVERIFY(first.save(ProfileSnapshot::Overwrite::OnlyIfUnchanged));
        QVERIFY(!second.save(ProfileSnapshot::Overwrite::OnlyIfUnchanged));
        QCOMPARE(test::fileContents(path), QByteArray("[Main]\nA=1\nB=2\n"));
    }

    void registryFile()
    {
        RegistryFile registry(place(nullptr));
        QVERIFY(registry.setString(kRoot, kKey, "Count", "a string first"));
        QVERIFY(registry.setDWord(kRoot, kKey, "count", 4294967295u));
        QVERIFY(registry.setString(kRoot, kKey, {}, "default"));
        QVERIFY(registry.setDWord(kRoot, "Other", "X", 0));
        QVERIFY(registry.setString(kRoot, "Other", "Gone", "x"));
        QVERIFY(registry.deleteValue(kRoot, "other", "GONE"));
        QVERIFY(registry.deleteValue(kRoot, kKey, "Never"));
        QCOMPARE(test::fileContents(registry.path()),
                 QByteArray("[HKEY_CURRENT_USER\\Software\\Tarn\\Agent]\nCount=dword:4294967295\n"
                            "@=sz:default\n\n[HKEY_CURRENT_USER\\Other]\nX=dword:0\n"));
        // Found again whatever the case of the names and the separators around the key.
        const auto count =
            registry.value("hkey_current_user", "\\SOFTWARE\\tarn\\agent\\", "COUNT");
        QVERIFY(count && count->type == RegistryType::DWord && count->number == 4294967295u);
        // What another hand wrote without a type, or out of range, is no value.
        const QByteArray before = test::fileContents(registry.path());
        QVERIFY(test::writeFileContents(registry.path(),
                                        before + "A=plain\nB=dword:abc\nC=dword:4294967296\n"));
        for (const char* name : {"Gone", "A", "B", "C"})
            QVERIFY2(!registry.value(kRoot, "Other", name), name);
    }
};

QTEST_GUILESS_MAIN(TestProfileFile)
#include "tst_profilefile.moc"
