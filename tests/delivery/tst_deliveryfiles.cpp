// Putting an assignment's files into an import folder: copies that appear whole, envelope
// last, or not at all. Which base names the server may use is shown by the delivery table.

#include "delivery/DeliveryFiles.h"
#include "support/FileContents.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include <cstring>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace tarnaxe;

class TestDeliveryFiles : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_real; // the import folder; the copies reach it through a link
    QList<FileCopy> m_copies;

    // Every name in the import folder with its bytes.
    QStringList held()
    {
        QStringList files;
        for (const QString& name : test::folderEntries(m_real))
            files << name + '=' + test::fileSha256(m_real + '/' + name);
        return files;
    }

private slots:
    // Three copies from "sources" to CL123.env, .ad1 (larger than the copy buffer) and .veh,
    // the envelope first as a writer lists them.
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_real = m_dir->filePath(QStringLiteral("real"));
        QVERIFY(QDir().mkpath(m_real));
        QVERIFY(QFile::link(m_real, m_dir->filePath(QStringLiteral("link"))));
        m_copies.clear();
        for (const auto& [suffix, size] :
             {std::pair(".env", 301), {".ad1", 200 * 1024}, {".veh", 511}}) {
            QByteArray bytes(size, Qt::Uninitialized);
            for (int i = 0; i < size; ++i)
                bytes[i] = char((i * 31 + suffix[1]) & 0xff); // a text-mode copy would spoil it
            const QString source = m_dir->filePath(QStringLiteral("sources/temp")) + suffix;
            QVERIFY(test::writeFileContents(source, bytes));
            m_copies.append({source, m_dir->filePath(QStringLiteral("link/CL123")) + suffix});
        }
    }

    // A program watching the folder must never see a member under its own name before it is
    // whole, nor the envelope before its members; and it may run as another user.
    void placesTheCopiesOverAnOlderSet()
    {
        QStringList expected;
        for (const FileCopy& copy : m_copies) {
            QVERIFY(test::writeFileContents(copy.target, "an older set"));
            expected << QFileInfo(copy.target).fileName() + '=' + test::fileSha256(copy.source);
        }
        const int fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        QVERIFY(::inotify_add_watch(fd, QFile::encodeName(m_real).constData(),
                                    IN_CREATE | IN_MOVED_TO) >= 0);
        const mode_t saved = ::umask(027);
        QString error;
        const bool placed = placeCopies(m_copies, true, error);
        ::umask(saved);
        QStringList events; // "create <name>" or "moved <name>", oldest first
        alignas(inotify_event) char buffer[4096];
        for (ssize_t n, at = 0; (n = ::read(fd, buffer, sizeof buffer)) > 0; at = 0) {
            for (inotify_event event; at < n; at += ssize_t(sizeof event + event.len)) {
                memcpy(&event, buffer + at, sizeof event);
                events << (event.mask & IN_MOVED_TO ? "moved " : "create ") +
                              QFile::decodeName(buffer + at + sizeof event);
            }
        }
        ::close(fd);
        QVERIFY2(placed, qPrintable(error));
        expected.sort();
        QCOMPARE(held(), expected);
        QCOMPARE(events.size(), 6);
        for (int i = 0; i < 6; ++i) // all written under hidden names, then moved into place
            QVERIFY2(i < 3 ? events[i].startsWith("create .tarnaxe-") && events[i].endsWith(".part")
                           : events[i].startsWith("moved "),
                     qPrintable(events.join(", ")));
        QCOMPARE(events.last(), QStringLiteral("moved CL123.env"));
        for (const FileCopy& copy : m_copies) {
            struct stat info {};
            QCOMPARE(::stat(QFile::encodeName(copy.target).constData(), &info), 0);
            QCOMPARE(info.st_mode & 0777, 0640u);
        }
    }

    void failureLeavesTheFolderAsItWas_data()
    {
        QTest::addColumn<QString>("fault"); // a file, or a folder when it ends in "/"
        QTest::addColumn<bool>("replaceExisting");
        QTest::addColumn<QString>("error"); // %1: the sources; %2: the import folder
        QTest::newRow("a member exists in another case")
            << "real/cl123.AD1" << false << "File already exists: %2/CL123.ad1";
        QTest::newRow("a source is missing")
            << "sources/temp.veh" << true << "File not found: %1/temp.veh";
        QTest::newRow("the import folder is gone")
            << "real" << false << "Cannot write %2/CL123.env: No such file or directory";
        // The members are in place when the envelope cannot follow them; renaming a file over
        // a folder that holds something fails, root or not.
        QTest::newRow("the envelope cannot be moved into place")
            << "real/CL123.env/inside/" << true << "Cannot write %2/CL123.env: Is a directory";
    }
    void failureLeavesTheFolderAsItWas()
    {
        QFETCH(QString, fault);
        QFETCH(bool, replaceExisting);
        QFETCH(QString, error);
        const QString path = m_dir->filePath(fault);
        if (fault == "real")
            QVERIFY(QDir(m_real).removeRecursively());
        else if (fault.startsWith("sources/"))
            QVERIFY(QFile::remove(QDir::cleanPath(path)));
        if (fault.endsWith('/'))
            QVERIFY(QDir().mkpath(path));
        else if (fault.startsWith("real/"))
            QVERIFY(test::writeFileContents(path, "someone else's"));
        const QStringList before = held();
        QString got;
        QVERIFY(!placeCopies(m_copies, replaceExisting, got));
        QCOMPARE(
            got,
            error.replace("%1", m_dir->filePath("sources")).replace("%2", m_dir->filePath("link")));
        QCOMPARE(held(), before);
    }
};

QTEST_GUILESS_MAIN(TestDeliveryFiles)
#include "tst_deliveryfiles.moc"
