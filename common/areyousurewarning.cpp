#include "common/areyousurewarning.h"

#include "ui_areyousurewarning.h"

AreYouSureWarning::AreYouSureWarning(QWidget *sizeSource, const QStringList &texts)
    : ui(new Ui::AreYouSureWarning)
{
    ui->setupUi(this);
    setFixedSize(sizeSource->width(), sizeSource->height());
    ui->labelWarningTitle->setText(texts.at(0));
    ui->textEdit->setText(texts.at(1));
    if (texts.size() == 3 && texts.at(2) == QLatin1String("Y")) {
        ui->pButtonAccept->hide();
        ui->pButtonReject->hide();
    }
}

AreYouSureWarning::~AreYouSureWarning() { delete ui; }

void AreYouSureWarning::on_pButtonReject_clicked() { reject(); }

void AreYouSureWarning::on_pButtonAccept_clicked() { accept(); }

bool confirm(AreYouSureWarning *&dialog, QWidget *screen, const QStringList &texts)
{
    if (!dialog)
        dialog = new AreYouSureWarning(screen, texts);
    dialog->setModal(true);
    return dialog->exec() == QDialog::Accepted;
}

void showRebootingNotice(AreYouSureWarning *&dialog, QWidget *screen)
{
    dialog = nullptr;
    confirm(dialog, screen,
            {QString(),
             QStringLiteral("<H1><center><br><br><br><br>!! System Is Rebooting !!</center></H1>"),
             QStringLiteral("Y")});
}
