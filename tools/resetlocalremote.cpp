#include "tools/resetlocalremote.h"

#include "common/areyousurewarning.h"
#include "common/common.h"
#include "common/programs.h"
#include "tools/resetaction.h"
#include "ui_resetlocalremote.h"

static constexpr ResetAction reset = {
    "Reset Local/Remote IP Address",
    "<H1>Warning</H1>Continuing with this operation will reset the<br>"
    "<b><i>CURRENT SELECTED VERSION's</i></b> Local/Remote IP Address.<br><br><br>"
    "<span style=\"font-size:18pt;\"><b>This operation cannot be reversed.</b></span><br><br><br>"
    "Click the ACCEPT button below to proceed.\n",
    UtilityScript::removeFile,
    &hostConfigurationFile,
    "Remove file code = ",
};

ResetLocalRemote::ResetLocalRemote(QWidget *opener)
    : ui(new Ui::ResetLocalRemote)
{
    ui->setupUi(this);
    setFixedSize(opener->width(), opener->height());
    ui->pbuttonBackToUtils->setStyleSheet(
        QStringLiteral("QPushButton{background-color:lightgray}"));
}

ResetLocalRemote::~ResetLocalRemote() { delete ui; }

void ResetLocalRemote::on_pbuttonBackToUtils_clicked() { close(); }

void ResetLocalRemote::on_pbuttonResetLR_clicked()
{
    if (confirmReset(reset, confirmDialog, this))
        performReset();
    close();
}

void ResetLocalRemote::performReset() { runReset(reset, parent()); }
