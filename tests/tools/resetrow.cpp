#include "tests/tools/resetrow.h"

#include "tests/support/instrument.h"

#include "tools/resetdisplaydetection.h"
#include "tools/resetlocalremote.h"
#include "tools/resetsystemsettings.h"
#include "tools/resettouchcalibration.h"

#include <QLabel>
#include <QPushButton>
#include <QTextEdit>
#include <QThread>
#include <QtTest>

template <typename Dialog> static std::unique_ptr<QDialog> made(QWidget *opener)
{
    return std::make_unique<Dialog>(opener);
}

// clang-format off
const ResetRow resetRows[4] = {
    {"ResetLocalRemote", "pbuttonResetLR",
     "/etc/update/utility_scripts/RemoveSingleFile.sh", "/home/tesk/cfg/teskuihost.conf",
     "Remove file code = ", "Reset Local/Remote IP Address",
     "<H1>Warning</H1>Continuing with this operation will reset the<br><b><i>CURRENT SELECTED VERSION's</i></b> Local/Remote IP Address.<br><br><br><span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>Click the ACCEPT button below to proceed.\n",
     false, made<ResetLocalRemote>},
    {"ResetTouchCalibration", "pbuttonResetTouchCalib",
     "/etc/update/utility_scripts/RemoveSingleFile.sh", "/etc/pointercal",
     "Remove file code = ", "Reset Touch Screen Calibration",
     "<H1>Warning</H1>Continuing with this operation will remove the<br><b><i>CURRENT SELECTED VERSION's</i></b> touch screen calibration file.<br><br><br><span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>When the unit is power cycled, you will be asked to recalibrate the touch screen.<br><br>Click the ACCEPT button below to proceed.\n",
     false, made<ResetTouchCalibration>},
    {"ResetSystemSettings", "pbuttonResetSystemSettings",
     "/etc/update/utility_scripts/RemoveFilesUsingBackupFileList.sh", nullptr,
     "Remove file code = ", "Reset All System Settings",
     "<H1>Warning</H1>Continuing with this operation will reset the<br>indicator's <b><i>CURRENT SELECTED VERSION</i></b> to its default<br>system state and settings.<br><br>A touch screen recalibration will be needed.<br><br><br><span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>Click the ACCEPT button below to proceed.<br>Then the system will reboot.\n",
     true, made<ResetSystemSettings>},
    {"ResetDisplayDetection", "pbuttonResetDisplayDetection",
     "/etc/update/utility_scripts/RemoveDetectedDisplayFiles.sh", nullptr,
     "Remove files code = ", "Reset Display Detection",
     "<H1>Warning</H1>Continuing with this operation will remove the<br><b><i>CURRENT SELECTED VERSION's</i></b> detected display files.<br><br><br><span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>When the unit is power cycled, you will be asked to recalibrate the touch screen.<br><br>Click the ACCEPT button below to proceed.\n",
     false, made<ResetDisplayDetection>},
};
// clang-format on

void addResetRows()
{
    QTest::addColumn<const ResetRow *>("row");
    for (const ResetRow &row : resetRows)
        QTest::newRow(row.name) << &row;
}

Opened::Opened(const ResetRow &row)
{
    opener.resize(1024, 600);
    screen = row.make(&opener);
    screen->setModal(true);
    screen->show();
}

/// The page as the text edit makes it of @p html.
static QString page(const char *html)
{
    QTextEdit plain;
    plain.setFont(QFont(QStringLiteral("Liberation Mono"), 14));
    plain.setText(QString::fromUtf8(html));
    return plain.toHtml().section(QStringLiteral("<body"), 1).section(QLatin1Char('>'), 1);
}

static void expectPage(QDialog *dialog, const char *title, const char *html, bool buttons)
{
    QCOMPARE(dialog->size(), QSize(1024, 600));
    QCOMPARE(dialog->findChild<QLabel *>(QStringLiteral("labelWarningTitle"))->text(),
             QString::fromLatin1(title));
    const QString seen = dialog->findChild<QTextEdit *>()->toHtml();
    QCOMPARE(seen.section(QStringLiteral("<body"), 1).section(QLatin1Char('>'), 1), page(html));
    for (const QPushButton *button : dialog->findChildren<QPushButton *>())
        QCOMPARE(button->isVisible(), buttons);
}

void expectWarning(QDialog *dialog, const ResetRow &row)
{
    expectPage(dialog, row.title, row.warning, true);
}

void expectNotice(QDialog *dialog)
{
    expectPage(dialog, "", "<H1><center><br><br><br><br>!! System Is Rebooting !!</center></H1>",
               false);
    // it is started and not waited for
    QDeadlineTimer patience(60000);
    while (!Instrument::calls().contains(QStringLiteral("/sbin/reboot"))) {
        if (patience.hasExpired())
            QFAIL("no reboot");
        QThread::msleep(5);
    }
}
