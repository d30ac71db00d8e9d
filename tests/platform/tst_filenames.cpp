#include "platform/FileNames.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tarnaxe;

class TestFileNames : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();

    void joinPath_data();
    void joinPath();
    void findNameIgnoringCase_data();
    void findNameIgnoringCase();
    void resolvePathIgnoringCase();
    void missingFolder();
    void filesMatching_data();
    void filesMatching();

private:
    QTemporaryDir m_dir;
};

void TestFileNames::initTestCase()
{
    QVERIFY(m_dir.isValid());
    const QStringList files = {
        QStringLiteral("0001.AD1"),  QStringLiteral("Mixed.Txt"),  QStringLiteral("mixed.TXT"),
        QStringLiteral("exact.txt"), QStringLiteral("EXACT.txt"),  QStringLiteral("Grüße.txt"),
        QStringLiteral(".Hidden"),   QStringLiteral("a.jpg"),      QStringLiteral("B.JPG"),
        QStringLiteral("c.Jpeg"),    QStringLiteral("d.jpg.txt"),  QStringLiteral(".dot.jpg"),
        QStringLiteral("File1.pdf"), QStringLiteral("file22.PDF"), QStringLiteral("File[1].pdf"),
        QStringLiteral("README"),
    };
    for (const QString& name : files) {
        QFile file(m_dir.filePath(name));
        QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(name));
    }
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("SubDir")));
    QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder.jpg")));
}

void TestFileNames::joinPath_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << "a"
                           << "b"
                           << "a/b";
    QTest::newRow("folder ends in slash") << "a/"
                                          << "b"
                                          << "a/b";
    QTest::newRow("folder ends in backslash") << "C:\\a\\"
                                              << "b"
                                              << "C:\\a/b";
    QTest::newRow("name starts with slash") << "a"
                                            << "/b"
                                            << "a/b";
    QTest::newRow("both have a slash") << "a/"
                                       << "/b"
                                       << "a/b";
    QTest::newRow("root folder") << "/"
                                 << "b"
                                 << "/b";
    QTest::newRow("nested name") << "/x/y"
                                 << "c/d.txt"
                                 << "/x/y/c/d.txt";
    QTest::newRow("empty folder keeps name relative") << ""
                                                      << "b"
                                                      << "b";
    QTest::newRow("empty name") << "a\\"
                                << ""
                                << "a/";
}

void TestFileNames::joinPath()
{
    QFETCH(QString, folder);
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(tarnaxe::joinPath(folder, name), expected);
}

void TestFileNames::findNameIgnoringCase_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");

    QTest::newRow("other case") << "0001.ad1"
                                << "0001.AD1";
    QTest::newRow("same case") << "0001.AD1"
                               << "0001.AD1";
    QTest::newRow("exact name preferred") << "exact.txt"
                                          << "exact.txt";
    QTest::newRow("first in sorted order") << "MIXED.txt"
                                           << "Mixed.Txt";
    QTest::newRow("folders too") << "subdir"
                                 << "SubDir";
    QTest::newRow("hidden") << ".hidden"
                            << ".Hidden";
    QTest::newRow("non-ascii") << QStringLiteral("GRÜßE.TXT") << QStringLiteral("Grüße.txt");
    QTest::newRow("missing") << "missing.txt"
                             << "";
    QTest::newRow("prefix only") << "0001"
                                 << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("parent") << ".."
                            << "";
    QTest::newRow("path, not a name") << "subdir/x"
                                      << "";
}

void TestFileNames::findNameIgnoringCase()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(tarnaxe::findNameIgnoringCase(m_dir.path(), name), expected);
}

void TestFileNames::resolvePathIgnoringCase()
{
    QCOMPARE(tarnaxe::resolvePathIgnoringCase(m_dir.path(), QStringLiteral("0001.ad1")),
             m_dir.path() + QStringLiteral("/0001.AD1"));
    QCOMPARE(tarnaxe::resolvePathIgnoringCase(m_dir.path() + QLatin1Char('/'),
                                              QStringLiteral("Missing.TXT")),
             m_dir.path() + QStringLiteral("/Missing.TXT"));
}

void TestFileNames::missingFolder()
{
    const QString folder = m_dir.filePath(QStringLiteral("none"));
    QCOMPARE(tarnaxe::findNameIgnoringCase(folder, QStringLiteral("a.jpg")), QString());
    QCOMPARE(tarnaxe::filesMatching(folder, QStringLiteral("*")), QStringList());
}

void TestFileNames::filesMatching_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("extension in any case") << "*.jpg" << QStringList{".dot.jpg", "a.jpg", "B.JPG"};
    QTest::newRow("pattern in other case") << "*.JPEG" << QStringList{"c.Jpeg"};
    QTest::newRow("prefix and extension")
        << "File*.pdf" << QStringList{"File1.pdf", "file22.PDF", "File[1].pdf"};
    QTest::newRow("one character") << "file?.PDF" << QStringList{"File1.pdf"};
    QTest::newRow("brackets are plain characters") << "File[1].pdf" << QStringList{"File[1].pdf"};
    QTest::newRow("exact name") << "readme" << QStringList{"README"};
    QTest::newRow("no match") << "*.gif" << QStringList{};
    QTest::newRow("star dot star is everything")
        << "*.*" << QStringList{".dot.jpg",  ".Hidden",   "0001.AD1",   "a.jpg",
                                "B.JPG",     "c.Jpeg",    "d.jpg.txt",  "EXACT.txt",
                                "exact.txt", "File1.pdf", "file22.PDF", "File[1].pdf",
                                "Grüße.txt", "Mixed.Txt", "mixed.TXT",  "README"};
}

void TestFileNames::filesMatching()
{
    QFETCH(QString, pattern);
    QFETCH(QStringList, expected);
    QCOMPARE(tarnaxe::filesMatching(m_dir.path(), pattern), expected);
}

QTEST_GUILESS_MAIN(TestFileNames)
#include "tst_filenames.moc"
