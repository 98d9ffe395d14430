#include "tools/resettouchcalibration.h"

#include "common/areyousurewarning.h"
#include "common/common.h"
#include "common/programs.h"
#include "tools/resetaction.h"
#include "ui_resettouchcalibration.h"

static constexpr ResetAction reset = {
    "Reset Touch Screen Calibration",
    "<H1>Warning</H1>Continuing with this operation will remove the<br>"
    "<b><i>CURRENT SELECTED VERSION's</i></b> touch screen calibration file.<br><br><br>"
    "<span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>"
    "When the unit is power cycled, you will be asked to recalibrate the touch screen.<br><br>"
    "Click the ACCEPT button below to proceed.\n",
    UtilityScript::removeFile,
    &touchCalibrationFile,
    "Remove file code = ",
};

ResetTouchCalibration::ResetTouchCalibration(QWidget *opener)
    : ui(new Ui::ResetTouchCalibration)
{
    ui->setupUi(this);
    setFixedSize(opener->width(), opener->height());
    ui->pbuttonBackToUtils->setStyleSheet(
        QStringLiteral("QPushButton{background-color:lightgray}"));
}

ResetTouchCalibration::~ResetTouchCalibration() { delete ui; }

void ResetTouchCalibration::on_pbuttonBackToUtils_clicked() { close(); }

void ResetTouchCalibration::on_pbuttonResetTouchCalib_clicked()
{
    if (confirmReset(reset, confirmDialog, this))
        performReset();
    close();
}

void ResetTouchCalibration::performReset() { runReset(reset, parent()); }
