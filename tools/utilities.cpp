#include "tools/utilities.h"

#include "logs/logsviewer.h"
#include "tools/exportlogdata.h"
#include "tools/resetdisplaydetection.h"
#include "tools/resetlocalremote.h"
#include "tools/resetsystemsettings.h"
#include "tools/resettouchcalibration.h"
#include "ui_utilities.h"
#include "versions/changeversionpartition.h"

#include <utility>

/// Puts a new screen in the place of the old one and shows it without waiting for it.
template <typename Screen> static void reopen(Screen *&screen, Utilities *menu)
{
    // Null meanwhile, since a constructor may run a message box.
    delete std::exchange(screen, nullptr);
    screen = new Screen(menu);
    screen->setModal(true);
    screen->show();
}

Utilities::Utilities(QWidget *mainWindow)
    : ui(new Ui::Utilities)
{
    ui->setupUi(this);
    setFixedSize(mainWindow->width(), mainWindow->height());
    ui->pbuttonBackToMain->setStyleSheet(QStringLiteral("QPushButton{background-color:lightgray}"));
}

Utilities::~Utilities()
{
    delete ui;
    delete logsViewer;
    delete changeVersionPartition;
    delete resetLocalRemote;
    delete resetTouchCalibration;
    delete exportLogData;
    delete resetSystemSettings;
    delete resetDisplayDetection;
}

// clang-format off
void Utilities::on_pbuttonLogs_clicked() { reopen(logsViewer, this); }
void Utilities::on_pbuttonBackToMain_clicked() { close(); }
void Utilities::on_pbuttonChgVersion_clicked() { reopen(changeVersionPartition, this); }
void Utilities::on_pbuttonResetLR_clicked() { reopen(resetLocalRemote, this); }
void Utilities::on_pbuttonResetTouchCalibration_clicked() { reopen(resetTouchCalibration, this); }
void Utilities::on_pbuttonExportData_clicked() { reopen(exportLogData, this); }
void Utilities::on_pbuttonResetSystemSettings_clicked() { reopen(resetSystemSettings, this); }
void Utilities::on_pbuttonResetDisplayDetection_clicked() { reopen(resetDisplayDetection, this); }
// clang-format on
