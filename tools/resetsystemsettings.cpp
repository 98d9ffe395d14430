#include "tools/resetsystemsettings.h"

#include "common/areyousurewarning.h"
#include "common/programs.h"
#include "tools/resetaction.h"
#include "ui_resetsystemsettings.h"

#include <QProcess>

static constexpr ResetAction reset = {
    "Reset All System Settings",
    "<H1>Warning</H1>Continuing with this operation will reset the<br>"
    "indicator's <b><i>CURRENT SELECTED VERSION</i></b> to its default<br>"
    "system state and settings.<br><br>"
    "A touch screen recalibration will be needed.<br><br><br>"
    "<span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>"
    "Click the ACCEPT button below to proceed.<br>"
    "Then the system will reboot.\n",
    UtilityScript::removeListedFiles,
    nullptr,
    // singular, though the script removes many: log filters know it
    "Remove file code = ",
};

ResetSystemSettings::ResetSystemSettings(QWidget *opener)
    : ui(new Ui::ResetSystemSettings)
{
    ui->setupUi(this);
    setFixedSize(opener->width(), opener->height());
    ui->pbuttonBackToUtils->setStyleSheet(
        QStringLiteral("QPushButton{background-color:lightgray}"));
}

ResetSystemSettings::~ResetSystemSettings() { delete ui; }

void ResetSystemSettings::on_pbuttonBackToUtils_clicked() { close(); }

void ResetSystemSettings::on_pbuttonResetSystemSettings_clicked()
{
    if (!confirmReset(reset, confirmDialog, this)) {
        close();
        return;
    }
    performReset();
    showRebootingNotice(confirmDialog, this);
}

void ResetSystemSettings::performReset()
{
    // on the script's own process object, and not waited for: the reboot ends this program
    runReset(reset, parent())
        ->start(QString::fromLatin1(Program::reboot), {}, QIODevice::ReadWrite);
}
