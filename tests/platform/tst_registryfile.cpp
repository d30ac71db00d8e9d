#include "platform/RegistryFile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using tarnaxe::RegistryFile;
using tarnaxe::RegistryType;

namespace {

const QString kRoot = QStringLiteral("HKEY_CURRENT_USER");
const QString kKey = QStringLiteral("Software\\Tarn\\Agent");

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestRegistryFile : public QObject {
    Q_OBJECT

private slots:
    void init();

    void fileLayout();
    void stringRoundTrip_data();
    void stringRoundTrip();
    void dwordRoundTrip_data();
    void dwordRoundTrip();
    void lookupIgnoresCaseAndEdgeSeparators();
    void overwriteChangesType();
    void deleteValue();
    void missingOrUnreadableValue_data();
    void missingOrUnreadableValue();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

void TestRegistryFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_path = m_dir->filePath(QStringLiteral("TarnAxe/registry.ini"));
}

void TestRegistryFile::fileLayout()
{
    RegistryFile registry(m_path);
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Name"), QStringLiteral("Tarn")));
    QVERIFY(registry.setDWord(kRoot, kKey, QStringLiteral("Count"), 42));
    QVERIFY(registry.setString(kRoot, kKey, {}, QStringLiteral("default")));
    QVERIFY(registry.setDWord(kRoot, QStringLiteral("Other"), QStringLiteral("X"), 0));
    QCOMPARE(readBytes(m_path), QByteArray("[HKEY_CURRENT_USER\\Software\\Tarn\\Agent]\n"
                                           "Name=sz:Tarn\n"
                                           "Count=dword:42\n"
                                           "@=sz:default\n"
                                           "\n"
                                           "[HKEY_CURRENT_USER\\Other]\n"
                                           "X=dword:0\n"));
    const auto unnamed = registry.value(kRoot, kKey, {});
    QVERIFY(unnamed);
    QCOMPARE(unnamed->text, QStringLiteral("default"));
}

void TestRegistryFile::stringRoundTrip_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("plain") << QStringLiteral("Tarn Agent");
    QTest::newRow("empty") << QString();
    QTest::newRow("leading blanks") << QStringLiteral("  lead");
    QTest::newRow("trailing blanks") << QStringLiteral("trail \t ");
    QTest::newRow("quotes") << QStringLiteral("\"quoted\"");
    QTest::newRow("quote and trailing blank") << QStringLiteral("a\" ");
    QTest::newRow("looks typed") << QStringLiteral("dword:12");
    QTest::newRow("non-ascii") << QStringLiteral("Grüße €");
    QTest::newRow("longer than a profile string") << QString(1000, u'z');
}

void TestRegistryFile::stringRoundTrip()
{
    QFETCH(QString, text);
    RegistryFile registry(m_path);
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Name"), text));
    const auto value = registry.value(kRoot, kKey, QStringLiteral("Name"));
    QVERIFY(value);
    QCOMPARE(value->type, RegistryType::String);
    QCOMPARE(value->text, text);
}

void TestRegistryFile::dwordRoundTrip_data()
{
    QTest::addColumn<quint32>("number");

    QTest::newRow("zero") << 0u;
    QTest::newRow("one") << 1u;
    QTest::newRow("largest") << 4294967295u;
}

void TestRegistryFile::dwordRoundTrip()
{
    QFETCH(quint32, number);
    RegistryFile registry(m_path);
    QVERIFY(registry.setDWord(kRoot, kKey, QStringLiteral("Count"), number));
    const auto value = registry.value(kRoot, kKey, QStringLiteral("Count"));
    QVERIFY(value);
    QCOMPARE(value->type, RegistryType::DWord);
    QCOMPARE(value->number, number);
}

void TestRegistryFile::lookupIgnoresCaseAndEdgeSeparators()
{
    RegistryFile registry(m_path);
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Name"), QStringLiteral("Tarn")));
    const auto value =
        registry.value(QStringLiteral("hkey_current_user"),
                       QStringLiteral("\\SOFTWARE\\tarn\\agent\\"), QStringLiteral("NAME"));
    QVERIFY(value);
    QCOMPARE(value->text, QStringLiteral("Tarn"));
}

void TestRegistryFile::overwriteChangesType()
{
    RegistryFile registry(m_path);
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Value"), QStringLiteral("text")));
    QVERIFY(registry.setDWord(kRoot, kKey, QStringLiteral("value"), 7));
    const auto value = registry.value(kRoot, kKey, QStringLiteral("Value"));
    QVERIFY(value);
    QCOMPARE(value->type, RegistryType::DWord);
    QCOMPARE(value->number, 7u);
}

void TestRegistryFile::deleteValue()
{
    RegistryFile registry(m_path);
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Gone"), QStringLiteral("x")));
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Kept"), QStringLiteral("y")));
    QVERIFY(registry.deleteValue(kRoot, kKey, QStringLiteral("gone")));
    QVERIFY(!registry.value(kRoot, kKey, QStringLiteral("Gone")));
    QVERIFY(registry.value(kRoot, kKey, QStringLiteral("Kept")));
    QVERIFY(registry.deleteValue(kRoot, kKey, QStringLiteral("Never")));
}

void TestRegistryFile::missingOrUnreadableValue_data()
{
    QTest::addColumn<QByteArray>("line");

    QTest::newRow("no such value") << QByteArray("Other=sz:x");
    QTest::newRow("no type") << QByteArray("Name=plain");
    QTest::newRow("dword not a number") << QByteArray("Name=dword:abc");
    QTest::newRow("dword too large") << QByteArray("Name=dword:4294967296");
    QTest::newRow("dword negative") << QByteArray("Name=dword:-1");
}

void TestRegistryFile::missingOrUnreadableValue()
{
    QFETCH(QByteArray, line);
    RegistryFile registry(m_path);
    QVERIFY(!registry.value(kRoot, kKey, QStringLiteral("Name")));
    QVERIFY(registry.setString(kRoot, kKey, QStringLiteral("Placeholder"), QStringLiteral("x")));
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::Append));
    file.write(line + '\n');
    file.close();
    QVERIFY(!registry.value(kRoot, kKey, QStringLiteral("Name")));
}

QTEST_GUILESS_MAIN(TestRegistryFile)
#include "tst_registryfile.moc"
