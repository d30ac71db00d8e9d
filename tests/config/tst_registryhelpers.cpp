#include "config/RegistryHelpers.h"
#include "support/TempHome.h"

#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestRegistryHelpers : public QObject {
    Q_OBJECT

private slots:
    void setAndDeleteByType()
    {
        TempHome home;
        QCOMPARE(userRegistryPath(), home.configHome() + QStringLiteral("/TarnAxe/registry.ini"));
        RegistryFile registry(userRegistryPath());
        const QString root = QStringLiteral("HKEY_CURRENT_USER");
        const QString key = QStringLiteral("Software\\Office\\PDF");
        registrySetValue(registry, root, key, QStringLiteral("PDFFileName"),
                         Variant(QStringLiteral("/s/File%.xdf")));
        registrySetValue(registry, root, key, QStringLiteral("Copies"), Variant(qint16(3)));
        registrySetValue(registry, root, key, QStringLiteral("Big"), Variant(qint32(-1)));
        // Only strings and whole numbers are written.
        registrySetValue(registry, root, key, QStringLiteral("Ratio"), Variant(0.5));
        registrySetValue(registry, root, key, QStringLiteral("Flag"), Variant(true));

        const auto name = registry.value(root, key, QStringLiteral("PDFFileName"));
        QVERIFY(name && name->type == RegistryType::String);
        QCOMPARE(name->text, QStringLiteral("/s/File%.xdf"));
        const auto copies = registry.value(root, key, QStringLiteral("Copies"));
        QVERIFY(copies && copies->type == RegistryType::DWord);
        QCOMPARE(copies->number, 3u);
        QCOMPARE(registry.value(root, key, QStringLiteral("Big"))->number, 0xffffffffu);
        QVERIFY(!registry.value(root, key, QStringLiteral("Ratio")));
        QVERIFY(!registry.value(root, key, QStringLiteral("Flag")));

        registryDeleteValue(registry, root, key, QStringLiteral("PDFFileName"));
        QVERIFY(!registry.value(root, key, QStringLiteral("PDFFileName")));
        QVERIFY(registry.value(root, key, QStringLiteral("Copies")));
    }
};

QTEST_GUILESS_MAIN(TestRegistryHelpers)
#include "tst_registryhelpers.moc"
