#include "versions/changeversionpartition.h"

#include "common/areyousurewarning.h"
#include "common/devicefile.h"
#include "common/programs.h"
#include "common/scriptrunner.h"
#include "ui_changeversionpartition.h"

#include <QFile>
#include <QMessageBox>
#include <QProcess>

#include <unistd.h>

// clazy:excludeall=non-pod-global-static

namespace {

constexpr int partColumn = 0;
constexpr int versionColumn = 1;
constexpr int identifierColumn = 5;
constexpr int rowHeight = 80;

// clang-format off
// "is" and "Is", with and without "Grey": each screen's heading is known as it stands.
const auto versionsHeading = QStringLiteral("<b>Currently Installed Versions</b><br><i>Currently Active Version is Highlighted</i>");
const auto changeHeading = QStringLiteral("<b>Change Version Partition</b><br><i>Currently Active Version Is Highlighted Grey</i>");

const QStringList warningTexts = {
    QStringLiteral("Change Version Partition"),
    QStringLiteral("<H1>Warning</H1><span style=\"font-size:18pt;\"><b>Continuing with this operation may make your system unstable.</b></span><br><br>Configuration changes made in the <b><i>CURRENT VERSION</i></b> will not be available in the <b><i>version</i></b> selected.<br><br><br>Click the ACCEPT button below to proceed.<br>The system will reboot to the version selected.\n"),
};
// clang-format on

} // namespace

ChangeVersionPartition::ChangeVersionPartition(QWidget *parent)
    : ui(new Ui::ChangeVersionPartition)
    , callerTitle(parent->windowTitle())
{
    ui->setupUi(this);
    setFixedSize(parent->width(), parent->height());
    ui->pbuttonBackToUtils->setStyleSheet(
        QStringLiteral("QPushButton{background-color:lightgray}"));

    readManifests();
    setupVersionTable();
    fillVersionTable();
    markActivePartition();
}

ChangeVersionPartition::~ChangeVersionPartition()
{
    ui->pButtonChgVersion->setEnabled(false);
    delete ui;
}

void ChangeVersionPartition::readManifests() { versionInfo = readVersionManifests(); }

void ChangeVersionPartition::setupVersionTable()
{
    QTableWidget *table = ui->tableFirmwareVersions;
    table->setColumnCount(versionColumnHeaders.size());
    table->setRowCount(partitionIds.size());
    table->hideColumn(identifierColumn);
    table->setHorizontalHeaderLabels(versionColumnHeaders);
    table->horizontalHeader()->setStretchLastSection(false);
    table->verticalHeader()->hide();

    if (callerTitle != QLatin1String("MainWindow")) {
        setWindowTitle(QStringLiteral("ChangeVersion"));
        ui->labelTitleChangePartition->setText(changeHeading);
        ui->pButtonChgVersion->setEnabled(false);
        table->setSelectionMode(QAbstractItemView::SingleSelection);
        table->setSelectionBehavior(QAbstractItemView::SelectRows);
    } else {
        setWindowTitle(QStringLiteral("Versions"));
        ui->pButtonChgVersion->hide();
        ui->labelTitleChangePartition->setText(versionsHeading);
        table->setSelectionMode(QAbstractItemView::NoSelection);
        table->setEnabled(false);
    }
}

void ChangeVersionPartition::fillVersionTable()
{
    for (int row = 0; row < partitionIds.size(); ++row) {
        const QByteArray &partition = partitionIds.at(row);
        if (versionInfo[partition + emptyKey] == "0")
            fillInstalledVersion(row, partition);
        else
            fillMissingVersion(row, partition);
        ui->tableFirmwareVersions->setRowHeight(row, rowHeight);
        ui->tableFirmwareVersions->setItem(row, identifierColumn,
                                           new QTableWidgetItem(QString::fromLatin1(partition)));
    }
    ui->tableFirmwareVersions->resizeColumnsToContents();
}

void ChangeVersionPartition::fillInstalledVersion(int row, const QByteArray &partition)
{
    for (const QByteArray &columnKey : manifestColumnKeys) {
        const int colon = columnKey.indexOf(':');
        const QByteArray key = columnKey.left(colon);
        const int column = columnKey.mid(colon + 1).toInt();

        const QByteArray value = versionInfo[partition + key];
        QString text = QString::fromUtf8(value.constData(), value.size()); // NULs included
        if (key.contains("date"))
            text = formatManifestDate(text);
        else if (const auto *first = ui->tableFirmwareVersions->item(row, column))
            text = first->text() + QStringLiteral("\nbn:") + text;

        auto *item = new QTableWidgetItem(text);
        item->setTextAlignment(Qt::AlignCenter);
        ui->tableFirmwareVersions->setItem(row, column, item);
    }
}

void ChangeVersionPartition::fillMissingVersion(int row, const QByteArray &partition)
{
    auto *part = new QTableWidgetItem(QString::fromUtf8(versionInfo[partition + partKey]));
    auto *version = new QTableWidgetItem(QStringLiteral("N/A"));
    for (QTableWidgetItem *item : {part, version}) {
        item->setFlags(Qt::NoItemFlags);
        item->setTextAlignment(Qt::AlignCenter);
    }
    ui->tableFirmwareVersions->setItem(row, partColumn, part);
    ui->tableFirmwareVersions->setItem(row, versionColumn, version);
}

void ChangeVersionPartition::markActivePartition()
{
    QFile file(QString::fromLatin1(activePartitionPath));
    if (!openForReading(file, QIODevice::ReadOnly | QIODevice::Text)) {
        QMessageBox::critical(this, QStringLiteral("Error"), QStringLiteral("Could not open file"));
        return;
    }
    const int row = partitionIds.indexOf(readActivePartition(file));
    if (row < 0)
        return;

    QTableWidget *table = ui->tableFirmwareVersions;
    for (int column = 0; column < table->columnCount(); ++column) {
        QTableWidgetItem *item = table->item(row, column);
        if (!item)
            continue; // active, but without a manifest
        item->setBackground(Qt::gray);
        item->setForeground(Qt::black);
        item->setFlags(Qt::NoItemFlags);
    }
    table->selectRow(row);
    activeRow = row;
}

void ChangeVersionPartition::changePartition(const QString &identifier)
{
    QProcess *process = newScriptProcess(parent()); // no parent: it lives until the reboot
    const int exitCode
        = runScript(process, QString::fromLatin1(UtilityScript::changePartition), {identifier});
    printExitCode("Change version code = ", exitCode);
    sync();
    // Whatever the script returned: the instrument starts with what it has.
    process->start(QString::fromLatin1(Program::reboot), {}, QIODevice::ReadWrite);
}

void ChangeVersionPartition::on_pbuttonBackToUtils_clicked()
{
    ui->pButtonChgVersion->setEnabled(false);
    close();
}

void ChangeVersionPartition::on_tableFirmwareVersions_clicked(const QModelIndex &index)
{
    if (index.row() != activeRow)
        return;
    ui->tableFirmwareVersions->clearSelection();
    ui->pButtonChgVersion->setEnabled(false);
}

void ChangeVersionPartition::on_tableFirmwareVersions_itemPressed(QTableWidgetItem *item)
{
    selectedRow = item->row();
    ui->pButtonChgVersion->setEnabled(true);
}

void ChangeVersionPartition::on_pButtonChgVersion_clicked()
{
    if (!confirm(confirmDialog, this, warningTexts)) {
        close(); // the whole screen, not only the warning
        return;
    }
    const auto *identifier = ui->tableFirmwareVersions->item(selectedRow, identifierColumn);
    if (!identifier)
        return; // no row was ever pressed: there is nothing to change to
    changePartition(identifier->text());
    showRebootingNotice(confirmDialog, this);
}
