#include "tools/resetdisplaydetection.h"

#include "common/areyousurewarning.h"
#include "common/programs.h"
#include "tools/resetaction.h"
#include "ui_resetdisplaydetection.h"

// The recalibration sentence is the touch reset's, and is meant: a display that is detected afresh
// is calibrated afresh.
static constexpr ResetAction reset = {
    "Reset Display Detection",
    "<H1>Warning</H1>Continuing with this operation will remove the<br>"
    "<b><i>CURRENT SELECTED VERSION's</i></b> detected display files.<br><br><br>"
    "<span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>"
    "When the unit is power cycled, you will be asked to recalibrate the touch screen.<br><br>"
    "Click the ACCEPT button below to proceed.\n",
    UtilityScript::removeDisplayFiles,
    nullptr,
    // the only plural of the four: log filters know it
    "Remove files code = ",
};

ResetDisplayDetection::ResetDisplayDetection(QWidget *opener)
    : ui(new Ui::ResetDisplayDetection)
{
    ui->setupUi(this);
    setFixedSize(opener->width(), opener->height());
    ui->pbuttonBackToUtils->setStyleSheet(
        QStringLiteral("QPushButton{background-color:lightgray}"));
}

ResetDisplayDetection::~ResetDisplayDetection() { delete ui; }

void ResetDisplayDetection::on_pbuttonBackToUtils_clicked() { close(); }

void ResetDisplayDetection::on_pbuttonResetDisplayDetection_clicked()
{
    if (confirmReset(reset, confirmDialog, this))
        performReset();
    close();
}

void ResetDisplayDetection::performReset() { runReset(reset, parent()); }
