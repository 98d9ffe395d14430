#include "tests/support/instrument.h"

#include "common/areyousurewarning.h"
#include "tools/exportlogdata.h"
#include "tools/resetdisplaydetection.h"
#include "tools/resetlocalremote.h"
#include "tools/resetsystemsettings.h"
#include "tools/resettouchcalibration.h"
#include "tools/utilities.h"

#include <QMetaMethod>
#include <QtTest>

#include <memory>

/// What the screens are to the toolkit: their classes, and their slots, which are connected by
/// name.
class TestToolsClasses : public QObject
{
    Q_OBJECT

private slots:
    void init() { Instrument::clear(); }
    void slotsInOrder_data();
    void slotsInOrder();
    void screensHaveNoParent_data();
    void screensHaveNoParent();
};

struct Row
{
    const char *name;
    const QMetaObject *meta;
    const QMetaObject *super;
    QByteArrayList slotNames;
};
Q_DECLARE_METATYPE(const Row *)

static const Row rows[] = {
    {"Utilities",
     &Utilities::staticMetaObject,
     &QWidget::staticMetaObject,
     {"on_pbuttonLogs_clicked()", "on_pbuttonBackToMain_clicked()",
      "on_pbuttonChgVersion_clicked()", "on_pbuttonResetLR_clicked()",
      "on_pbuttonResetTouchCalibration_clicked()", "on_pbuttonExportData_clicked()",
      "on_pbuttonResetSystemSettings_clicked()", "on_pbuttonResetDisplayDetection_clicked()"}},
    {"AreYouSureWarning",
     &AreYouSureWarning::staticMetaObject,
     &QDialog::staticMetaObject,
     {"on_pButtonReject_clicked()", "on_pButtonAccept_clicked()"}},
    {"ResetLocalRemote",
     &ResetLocalRemote::staticMetaObject,
     &QDialog::staticMetaObject,
     {"on_pbuttonBackToUtils_clicked()", "on_pbuttonResetLR_clicked()"}},
    {"ResetTouchCalibration",
     &ResetTouchCalibration::staticMetaObject,
     &QDialog::staticMetaObject,
     {"on_pbuttonBackToUtils_clicked()", "on_pbuttonResetTouchCalib_clicked()"}},
    {"ResetSystemSettings",
     &ResetSystemSettings::staticMetaObject,
     &QDialog::staticMetaObject,
     {"on_pbuttonBackToUtils_clicked()", "on_pbuttonResetSystemSettings_clicked()"}},
    {"ResetDisplayDetection",
     &ResetDisplayDetection::staticMetaObject,
     &QDialog::staticMetaObject,
     {"on_pbuttonBackToUtils_clicked()", "on_pbuttonResetDisplayDetection_clicked()"}},
    {"ExportLogData",
     &ExportLogData::staticMetaObject,
     &QDialog::staticMetaObject,
     {"on_pbuttonBackToUtils_clicked()", "on_pbuttonExportData_clicked()"}},
};

void TestToolsClasses::slotsInOrder_data()
{
    QTest::addColumn<const Row *>("row");
    for (const Row &row : rows)
        QTest::newRow(row.name) << &row;
}

void TestToolsClasses::slotsInOrder()
{
    QFETCH(const Row *, row);
    QCOMPARE(row->meta->className(), row->name);
    QCOMPARE(row->meta->superClass(), row->super);
    QByteArrayList seen;
    for (int i = row->meta->methodOffset(); i < row->meta->methodCount(); ++i) {
        const QMetaMethod method = row->meta->method(i);
        seen += method.methodSignature();
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.returnType(), int(QMetaType::Void));
    }
    QCOMPARE(seen, row->slotNames);
    QCOMPARE(row->meta->propertyCount(), row->meta->propertyOffset());
}

using MakeScreen = std::unique_ptr<QWidget> (*)(QWidget *opener);
Q_DECLARE_METATYPE(MakeScreen)

template <typename Screen> static std::unique_ptr<QWidget> made(QWidget *opener)
{
    return std::make_unique<Screen>(opener);
}

static std::unique_ptr<QWidget> madeWarning(QWidget *opener)
{
    return std::make_unique<AreYouSureWarning>(
        opener, QStringList {QStringLiteral("Title"), QStringLiteral("body")});
}

void TestToolsClasses::screensHaveNoParent_data()
{
    QTest::addColumn<MakeScreen>("make");
    QTest::newRow("Utilities") << MakeScreen(made<Utilities>);
    QTest::newRow("AreYouSureWarning") << MakeScreen(madeWarning);
    QTest::newRow("ResetLocalRemote") << MakeScreen(made<ResetLocalRemote>);
    QTest::newRow("ResetTouchCalibration") << MakeScreen(made<ResetTouchCalibration>);
    QTest::newRow("ResetSystemSettings") << MakeScreen(made<ResetSystemSettings>);
    QTest::newRow("ResetDisplayDetection") << MakeScreen(made<ResetDisplayDetection>);
    QTest::newRow("ExportLogData") << MakeScreen(made<ExportLogData>);
}

void TestToolsClasses::screensHaveNoParent()
{
    QFETCH(MakeScreen, make);
    QWidget opener;
    const std::unique_ptr<QWidget> screen = make(&opener);
    QCOMPARE(screen->objectName(), QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(!screen->parent());
    QVERIFY(!screen->isVisible());
    if (qobject_cast<QDialog *>(screen.get())) {
        QCOMPARE(screen->windowFlags(), QDialog().windowFlags());
        QVERIFY(!screen->isModal());
    }
    QVERIFY(!screen->testAttribute(Qt::WA_DeleteOnClose));
}

QTEST_MAIN(TestToolsClasses)
#include "tst_toolsclasses.moc"
