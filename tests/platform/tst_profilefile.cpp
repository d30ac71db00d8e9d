#include "platform/ProfileFile.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <memory>
#include <sys/resource.h>

using tarnaxe::ProfileFile;

namespace {

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(bytes), bytes.size());
}

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArrayLiteral("<unreadable>");
    return file.readAll();
}

QStringList entriesOf(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

// Permissions do not stop a privileged user (root in a container, CI); the tests that rely
// on them find out first whether they can.
bool canOpen(const QString& path, QIODevice::OpenMode mode)
{
    QFile file(path);
    return file.open(mode);
}

const QByteArray kSample = QByteArrayLiteral("; kept\n[Main]\nName=Alpha\n");

} // namespace

class TestProfileFile : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void read_data();
    void read();
    void readCutsToMaxLength_data();
    void readCutsToMaxLength();
    void contains_data();
    void contains();
    void readMissingFileGivesDefault();
    void readBinaryGarbage();
    void readAndWriteTenMegabyteLine();
    void write_data();
    void write();
    void writeCreatesFileAndFolder();
    void writeKeepsLinkAndPermissions();
    void writeThenRead_data();
    void writeThenRead();
    void writeRefusesWhatCannotReadBack_data();
    void writeRefusesWhatCannotReadBack();
    void remove_data();
    void remove();
    void removeFromMissingFile();
    void pathIsFolder();
    void parentIsFile();
    void unreadableFile();
    void readOnlyFile();
    void readOnlyFolder();
    void shortWriteKeepsOldFile();

private:
    QString path(const QString& name = QStringLiteral("test.ini")) const
    {
        return m_dir->filePath(name);
    }
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestProfileFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestProfileFile::cleanup()
{
    // A test that failed half-way may leave a folder that cannot be cleaned up.
    QFile::setPermissions(m_dir->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_dir.reset();
}

void TestProfileFile::read_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");

    const QString def = QStringLiteral("<default>");
    const QString main = QStringLiteral("Main");
    const QString name = QStringLiteral("Name");
    QTest::newRow("plain") << QByteArray("[Main]\nName=Alpha\n") << main << name << "Alpha";
    QTest::newRow("case of section and key")
        << QByteArray("[mAIN]\nnAME=Alpha\n") << QStringLiteral("MAIN") << QStringLiteral("name")
        << "Alpha";
    QTest::newRow("blanks around section")
        << QByteArray(" \t[ Main\t] \nName=Alpha\n") << main << name << "Alpha";
    QTest::newRow("blanks around key and value")
        << QByteArray("[Main]\n \tName \t=  Alpha  Beta \t\n") << main << name << "Alpha  Beta";
    QTest::newRow("blanks around the names asked for")
        << QByteArray("[Main]\nName=Alpha\n") << QStringLiteral(" Main ")
        << QStringLiteral("\tName") << "Alpha";
    QTest::newRow("quotes removed")
        << QByteArray("[Main]\nName = \"  in quotes  \" \n") << main << name << "  in quotes  ";
    QTest::newRow("one pair of quotes only")
        << QByteArray("[Main]\nName=\"\"x\"\"\n") << main << name << "\"x\"";
    QTest::newRow("lone quote kept")
        << QByteArray("[Main]\nName=\"open\n") << main << name << "\"open";
    QTest::newRow("empty value is not the default")
        << QByteArray("[Main]\nName=\n") << main << name << "";
    QTest::newRow("equals sign in value")
        << QByteArray("[Main]\nName=a=b\n") << main << name << "a=b";
    QTest::newRow("first duplicate key")
        << QByteArray("[Main]\nName=one\nNAME=two\n") << main << name << "one";
    QTest::newRow("first duplicate section")
        << QByteArray("[Main]\nName=one\n[main]\nName=two\n") << main << name << "one";
    QTest::newRow("later duplicate section ignored")
        << QByteArray("[Main]\nOther=1\n[main]\nName=two\n") << main << name << def;
    QTest::newRow("key of another section")
        << QByteArray("[Other]\nName=x\n[Main]\nOther=y\n") << main << name << def;
    QTest::newRow("key before any section")
        << QByteArray("Name=x\n[Main]\nOther=y\n") << main << name << def;
    QTest::newRow("missing section") << QByteArray("[Other]\nName=x\n") << main << name << def;
    QTest::newRow("comments are not keys")
        << QByteArray("[Main]\n;Name=x\n  # Name=y\n") << main << name << def;
    QTest::newRow("unclosed bracket is no section")
        << QByteArray("[Main\nName=x\n") << main << name << def;
    QTest::newRow("text after section header")
        << QByteArray("[Main] ; the main one\nName=Alpha\n") << main << name << "Alpha";
    QTest::newRow("prefix of a key is not the key")
        << QByteArray("[Main]\nNames=x\nNam=y\n") << main << name << def;
    QTest::newRow("crlf") << QByteArray("[Main]\r\nName=Alpha\r\n") << main << name << "Alpha";
    QTest::newRow("no trailing newline")
        << QByteArray("[Main]\nName=Alpha") << main << name << "Alpha";
    QTest::newRow("byte-order mark")
        << QByteArray("\xEF\xBB\xBF[Main]\nName=Alpha\n") << main << name << "Alpha";
    QTest::newRow("utf-8 value") << QByteArray("[Main]\nName=Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC\n")
                                 << main << name << QStringLiteral("Grüß €");
    QTest::newRow("windows-1252 value") << QByteArray("[Main]\nName=Gr\xFC\xDF \x80 \x93q\x94\n")
                                        << main << name << QStringLiteral("Grüß € “q”");
    QTest::newRow("windows-1252 section name")
        << QByteArray("[Caf\xE9]\nName=Alpha\n") << QStringLiteral("Café") << name << "Alpha";
    QTest::newRow("ascii letters fold, others do not")
        << QByteArray("[Caf\xC3\xA9]\nName=Alpha\n") << QStringLiteral("CAFÉ") << name << def;
    QTest::newRow("ascii fold with other letters")
        << QByteArray("[Caf\xC3\xA9]\nName=Alpha\n") << QStringLiteral("CAFé") << name << "Alpha";
}

void TestProfileFile::read()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    writeBytes(path(), content);
    QCOMPARE(ProfileFile(path()).read(section, key, QStringLiteral("<default>")), expected);
}

void TestProfileFile::readCutsToMaxLength_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("maxLength");
    QTest::addColumn<QString>("expected");

    QTest::newRow("shorter") << QByteArray("abcdef") << 10 << "abcdef";
    QTest::newRow("exact") << QByteArray("abcdef") << 6 << "abcdef";
    QTest::newRow("cut") << QByteArray("abcdef") << 3 << "abc";
    QTest::newRow("zero") << QByteArray("abcdef") << 0 << "";
    QTest::newRow("quotes go before the cut") << QByteArray("\"abcdef\"") << 3 << "abc";
    QTest::newRow("characters, not bytes")
        << QByteArray("\xC3\xA9\xC3\xA9\xC3\xA9") << 2 << QStringLiteral("éé");
    QTest::newRow("no half surrogate pair")
        << QByteArray("a\xF0\x9F\x98\x80z") << 2 << QStringLiteral("a");
}

void TestProfileFile::readCutsToMaxLength()
{
    QFETCH(QByteArray, value);
    QFETCH(int, maxLength);
    QFETCH(QString, expected);
    writeBytes(path(), "[Main]\nName=" + value + "\n");
    QCOMPARE(
        ProfileFile(path()).read(QStringLiteral("Main"), QStringLiteral("Name"), {}, maxLength),
        expected);
}

void TestProfileFile::contains_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("expected");

    QTest::newRow("with value") << QByteArray("[Main]\nName=x\n") << true;
    QTest::newRow("empty value") << QByteArray("[main]\nNAME=\n") << true;
    QTest::newRow("missing") << QByteArray("[Main]\nOther=x\n") << false;
    QTest::newRow("commented out") << QByteArray("[Main]\n;Name=x\n") << false;
    QTest::newRow("other section") << QByteArray("[Other]\nName=x\n") << false;
}

void TestProfileFile::contains()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, expected);
    writeBytes(path(), content);
    QCOMPARE(ProfileFile(path()).contains(QStringLiteral("Main"), QStringLiteral("Name")),
             expected);
}

void TestProfileFile::readMissingFileGivesDefault()
{
    const ProfileFile file(path(QStringLiteral("missing/none.ini")));
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("dflt")),
             QStringLiteral("dflt"));
    QVERIFY(!file.contains(QStringLiteral("Main"), QStringLiteral("Name")));
    QVERIFY(!QFile::exists(m_dir->filePath(QStringLiteral("missing"))));
}

void TestProfileFile::readBinaryGarbage()
{
    QByteArray garbage(1 << 20, Qt::Uninitialized);
    QRandomGenerator random(20070315);
    for (char& c : garbage)
        c = static_cast<char>(random.bounded(256));
    writeBytes(path(), garbage);
    ProfileFile file(path());
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("dflt")),
             QStringLiteral("dflt"));

    // A real section after the garbage is still found, and a write keeps the garbage.
    writeBytes(path(), garbage + "\n[Main]\nName=Alpha\n");
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name")), QStringLiteral("Alpha"));
    QVERIFY(file.write(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("Beta")));
    QCOMPARE(readBytes(path()), garbage + "\n[Main]\nName=Beta\n");
}

void TestProfileFile::readAndWriteTenMegabyteLine()
{
    const QByteArray line(10 * 1024 * 1024, 'x');
    ProfileFile file(path());

    writeBytes(path(), "[Main]\nName=" + line);
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name")), QString(254, u'x'));

    writeBytes(path(), line + "\n[Main]\nName=Alpha");
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name")), QStringLiteral("Alpha"));
    QVERIFY(file.write(QStringLiteral("Main"), QStringLiteral("Other"), QStringLiteral("1")));
    QCOMPARE(readBytes(path()), line + "\n[Main]\nName=Alpha\nOther=1\n");
}

void TestProfileFile::write_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("after");

    const QString main = QStringLiteral("Main");
    QTest::newRow("other lines kept byte for byte")
        << QByteArray("; top\n[Main]\n  # note \nA = 1 \n\xFF\xFE odd line\nName = old\n\n"
                      "[Next]\nName=x\n")
        << main << "NAME"
        << "new"
        << QByteArray("; top\n[Main]\n  # note \nA = 1 \n\xFF\xFE odd line\nName=new\n\n"
                      "[Next]\nName=x\n");
    QTest::newRow("first duplicate key changed")
        << QByteArray("[Main]\nName=one\nname=two\n[main]\nName=three\n") << main << "Name"
        << "new" << QByteArray("[Main]\nName=new\nname=two\n[main]\nName=three\n");
    QTest::newRow("added after last key, before blank lines")
        << QByteArray("[Main]\nA=1\nB=2\n\n\n[Next]\nX=1\n") << main << "C"
        << "3" << QByteArray("[Main]\nA=1\nB=2\nC=3\n\n\n[Next]\nX=1\n");
    QTest::newRow("added after last key, before comment")
        << QByteArray("[Main]\nA=1\n; end of main\n[Next]\n") << main << "C"
        << "3" << QByteArray("[Main]\nA=1\nC=3\n; end of main\n[Next]\n");
    QTest::newRow("added to empty section") << QByteArray("[Main]\n\n[Next]\n") << main << "C"
                                            << "3" << QByteArray("[Main]\nC=3\n\n[Next]\n");
    QTest::newRow("added to first duplicate section")
        << QByteArray("[Main]\nA=1\n[MAIN]\nB=2\n") << main << "B"
        << "9" << QByteArray("[Main]\nA=1\nB=9\n[MAIN]\nB=2\n");
    QTest::newRow("key before any section untouched") << QByteArray("A=0\n[Main]\n") << main << "A"
                                                      << "1" << QByteArray("A=0\n[Main]\nA=1\n");
    QTest::newRow("new section after blank line")
        << QByteArray("[Main]\nA=1\n") << "New"
        << "K"
        << "v" << QByteArray("[Main]\nA=1\n\n[New]\nK=v\n");
    QTest::newRow("new section, no trailing newline")
        << QByteArray("[Main]\nA=1") << "New"
        << "K"
        << "v" << QByteArray("[Main]\nA=1\n\n[New]\nK=v\n");
    QTest::newRow("new section, file ends in blank line")
        << QByteArray("[Main]\nA=1\n\n") << "New"
        << "K"
        << "v" << QByteArray("[Main]\nA=1\n\n[New]\nK=v\n");
    QTest::newRow("new section in empty file") << QByteArray() << "New"
                                               << "K"
                                               << "v" << QByteArray("[New]\nK=v\n");
    QTest::newRow("header is last line") << QByteArray("[Main]") << main << "A"
                                         << "1" << QByteArray("[Main]\nA=1\n");
    QTest::newRow("replaced last line keeps no newline") << QByteArray("[Main]\nA=1") << main << "A"
                                                         << "2" << QByteArray("[Main]\nA=2");
    QTest::newRow("added after last line without newline")
        << QByteArray("[Main]\nA=1") << main << "B"
        << "2" << QByteArray("[Main]\nA=1\nB=2\n");
    QTest::newRow("crlf replaced") << QByteArray("[Main]\r\nA=1\r\nB=2\r\n") << main << "a"
                                   << "9" << QByteArray("[Main]\r\nA=9\r\nB=2\r\n");
    QTest::newRow("crlf added") << QByteArray("[Main]\r\nA=1\r\n") << main << "B"
                                << "2" << QByteArray("[Main]\r\nA=1\r\nB=2\r\n");
    QTest::newRow("crlf new section") << QByteArray("[Main]\r\nA=1\r\n") << "New"
                                      << "K"
                                      << "v" << QByteArray("[Main]\r\nA=1\r\n\r\n[New]\r\nK=v\r\n");
    QTest::newRow("crlf new section, no trailing newline")
        << QByteArray("[Main]\r\nA=1") << "New"
        << "K"
        << "v" << QByteArray("[Main]\r\nA=1\r\n\r\n[New]\r\nK=v\r\n");
    QTest::newRow("first line decides the line end") << QByteArray("[Main]\nA=1\r\n") << main << "B"
                                                     << "2" << QByteArray("[Main]\nA=1\r\nB=2\n");
    QTest::newRow("value trimmed") << QByteArray("[Main]\n") << main << "A"
                                   << " \tspaced  out \t" << QByteArray("[Main]\nA=spaced  out\n");
    QTest::newRow("utf-8 beside windows-1252")
        << QByteArray("[Main]\nOld=caf\xE9\n") << main << "New" << QStringLiteral("Grüß €")
        << QByteArray("[Main]\nOld=caf\xE9\nNew=Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC\n");
    QTest::newRow("byte-order mark kept") << QByteArray("\xEF\xBB\xBF[Main]\nA=1\n") << main << "B"
                                          << "2" << QByteArray("\xEF\xBB\xBF[Main]\nA=1\nB=2\n");
}

void TestProfileFile::write()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, after);
    writeBytes(path(), before);
    QVERIFY(ProfileFile(path()).write(section, key, value));
    QCOMPARE(readBytes(path()), after);
}

void TestProfileFile::writeCreatesFileAndFolder()
{
    const QString target = path(QStringLiteral("one/two/TarnLocal.ini"));
    ProfileFile file(target);
    QVERIFY(file.write(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("Alpha")));
    QCOMPARE(readBytes(target), QByteArray("[Main]\nName=Alpha\n"));
    QVERIFY(file.write(QStringLiteral("Main"), QStringLiteral("Other"), QStringLiteral("Beta")));
    QCOMPARE(readBytes(target), QByteArray("[Main]\nName=Alpha\nOther=Beta\n"));
    // Nothing but the file itself is left beside it.
    QCOMPARE(entriesOf(QFileInfo(target).absolutePath()), QStringList{"TarnLocal.ini"});
}

// The file is replaced by a new one, which must not turn a link to a shared file into a
// private copy, nor open up a file that its owner had kept to himself.
void TestProfileFile::writeKeepsLinkAndPermissions()
{
    writeBytes(path(QStringLiteral("real.ini")), kSample);
    const auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner;
    QVERIFY(QFile::setPermissions(path(QStringLiteral("real.ini")), ownerOnly));
    QVERIFY(QFile::link(QStringLiteral("real.ini"), path()));

    QVERIFY(ProfileFile(path()).write(QStringLiteral("Main"), QStringLiteral("Other"),
                                      QStringLiteral("x")));
    QVERIFY(QFileInfo(path()).isSymLink());
    QCOMPARE(readBytes(path(QStringLiteral("real.ini"))), kSample + "Other=x\n");
    // The "User" flags repeat the owner's for the user running the test.
    const auto userFlags = QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
    QCOMPARE(QFile::permissions(path(QStringLiteral("real.ini"))) & ~userFlags,
             QFile::Permissions(ownerOnly));
}

void TestProfileFile::writeThenRead_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << "Alpha"
                           << "Alpha";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("non-ascii") << QStringLiteral("Grüß € 日本") << QStringLiteral("Grüß € 日本");
    QTest::newRow("comment characters") << "a;b #c"
                                        << "a;b #c";
    QTest::newRow("starts like a comment") << "; not a comment"
                                           << "; not a comment";
    QTest::newRow("brackets") << "[Main]"
                              << "[Main]";
    QTest::newRow("quoted keeps blanks") << "\" padded \""
                                         << " padded ";
}

void TestProfileFile::writeThenRead()
{
    QFETCH(QString, value);
    QFETCH(QString, expected);
    ProfileFile file(path());
    QVERIFY(file.write(QStringLiteral("Main"), QStringLiteral("Name"), value));
    QVERIFY(file.write(QStringLiteral("Main"), QStringLiteral("Next"), QStringLiteral("x")));
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("dflt")),
             expected);
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Next")), QStringLiteral("x"));
}

void TestProfileFile::writeRefusesWhatCannotReadBack_data()
{
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");

    QTest::newRow("empty section") << ""
                                   << "K"
                                   << "v";
    QTest::newRow("bracket in section") << "a]b"
                                        << "K"
                                        << "v";
    QTest::newRow("line end in section") << "a\nb"
                                         << "K"
                                         << "v";
    QTest::newRow("empty key") << "S"
                               << " "
                               << "v";
    QTest::newRow("equals in key") << "S"
                                   << "a=b"
                                   << "v";
    QTest::newRow("key like a comment") << "S"
                                        << ";K"
                                        << "v";
    QTest::newRow("key like a section") << "S"
                                        << "[K"
                                        << "v";
    QTest::newRow("line end in value") << "S"
                                       << "K"
                                       << "one\ntwo";
    QTest::newRow("carriage return in value") << "S"
                                              << "K"
                                              << "one\rtwo";
}

void TestProfileFile::writeRefusesWhatCannotReadBack()
{
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, value);
    writeBytes(path(), kSample);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^refused to write")));
    QVERIFY(!ProfileFile(path()).write(section, key, value));
    QCOMPARE(readBytes(path()), kSample);
}

void TestProfileFile::remove_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    QTest::newRow("single") << QByteArray("[Main]\nA=1\nName=x\nB=2\n")
                            << QByteArray("[Main]\nA=1\nB=2\n");
    QTest::newRow("every duplicate of the first section")
        << QByteArray("[Main]\nName=1\nB=2\nNAME=3\n[main]\nName=4\n")
        << QByteArray("[Main]\nB=2\n[main]\nName=4\n");
    QTest::newRow("last line without newline")
        << QByteArray("[Main]\nB=2\nName=1") << QByteArray("[Main]\nB=2\n");
    QTest::newRow("crlf") << QByteArray("[Main]\r\nName=1\r\nB=2\r\n")
                          << QByteArray("[Main]\r\nB=2\r\n");
    QTest::newRow("missing key leaves file")
        << QByteArray("[Main]\r\nB=2 \r\n; Name=1") << QByteArray("[Main]\r\nB=2 \r\n; Name=1");
}

void TestProfileFile::remove()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    writeBytes(path(), before);
    ProfileFile file(path());
    QVERIFY(file.remove(QStringLiteral("MAIN"), QStringLiteral("name")));
    QCOMPARE(readBytes(path()), after);
    QVERIFY(!file.contains(QStringLiteral("Main"), QStringLiteral("Name")));
}

void TestProfileFile::removeFromMissingFile()
{
    QVERIFY(ProfileFile(path()).remove(QStringLiteral("Main"), QStringLiteral("Name")));
    QVERIFY(!QFile::exists(path()));
}

void TestProfileFile::pathIsFolder()
{
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("test.ini")));
    ProfileFile file(path());
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("dflt")),
             QStringLiteral("dflt"));
    QVERIFY(!file.write(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("x")));
    QVERIFY(!file.remove(QStringLiteral("Main"), QStringLiteral("Name")));
    QVERIFY(QFileInfo(path()).isDir());
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"test.ini"});
}

void TestProfileFile::parentIsFile()
{
    writeBytes(path(QStringLiteral("plain")), kSample);
    ProfileFile file(path(QStringLiteral("plain/test.ini")));
    QVERIFY(!file.write(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("x")));
    QCOMPARE(readBytes(path(QStringLiteral("plain"))), kSample);
}

void TestProfileFile::unreadableFile()
{
    writeBytes(path(), kSample);
    QVERIFY(QFile::setPermissions(path(), QFileDevice::Permissions{}));
    if (canOpen(path(), QIODevice::ReadOnly))
        QSKIP("permissions do not apply to this user");
    ProfileFile file(path());
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("dflt")),
             QStringLiteral("dflt"));
    QVERIFY(!file.contains(QStringLiteral("Main"), QStringLiteral("Name")));
    QVERIFY(!file.write(QStringLiteral("Main"), QStringLiteral("Other"), QStringLiteral("x")));
    QVERIFY(!file.remove(QStringLiteral("Main"), QStringLiteral("Name")));
    QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner));
    QCOMPARE(readBytes(path()), kSample);
}

void TestProfileFile::readOnlyFile()
{
    writeBytes(path(), kSample);
    QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner));
    if (canOpen(path(), QIODevice::WriteOnly | QIODevice::Append))
        QSKIP("permissions do not apply to this user");
    ProfileFile file(path());
    QVERIFY(!file.write(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("x")));
    QVERIFY(!file.remove(QStringLiteral("Main"), QStringLiteral("Name")));
    QCOMPARE(readBytes(path()), kSample);
    QCOMPARE(file.read(QStringLiteral("Main"), QStringLiteral("Name")), QStringLiteral("Alpha"));
}

void TestProfileFile::readOnlyFolder()
{
    writeBytes(path(), kSample);
    QVERIFY(QFile::setPermissions(m_dir->path(), QFile::ReadOwner | QFile::ExeOwner));
    if (canOpen(path(QStringLiteral("probe")), QIODevice::WriteOnly)) {
        QFile::remove(path(QStringLiteral("probe")));
        QSKIP("permissions do not apply to this user");
    }
    ProfileFile file(path());
    QVERIFY(!file.write(QStringLiteral("Main"), QStringLiteral("Name"), QStringLiteral("x")));
    QVERIFY(!file.remove(QStringLiteral("Main"), QStringLiteral("Name")));
    QCOMPARE(readBytes(path()), kSample);
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"test.ini"});
}

// A write that stops part-way (here at a file size limit, as on a full disk) must neither
// replace the old file nor leave a temporary one; unlike permissions this holds for root too.
void TestProfileFile::shortWriteKeepsOldFile()
{
    writeBytes(path(), kSample);
    const QString longValue(64 * 1024, u'v');

    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit oldLimit{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &oldLimit), 0);
    rlimit limit = oldLimit;
    limit.rlim_cur = 4096;
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const bool written =
        ProfileFile(path()).write(QStringLiteral("Main"), QStringLiteral("Name"), longValue);
    setrlimit(RLIMIT_FSIZE, &oldLimit);
    std::signal(SIGXFSZ, oldHandler);

    QVERIFY(!written);
    QCOMPARE(readBytes(path()), kSample);
    QCOMPARE(entriesOf(m_dir->path()), QStringList{"test.ini"});
}

QTEST_GUILESS_MAIN(TestProfileFile)
#include "tst_profilefile.moc"
