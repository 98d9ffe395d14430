#include "tests/screens/exhibit.h"

#include "tests/support/commandline.h"
#include "tests/support/instrument.h"

#include <QDir>
#include <QPainter>
#include <QScreen>

/// Every screen looks as its kept picture does, to the pixel. One that does not is saved, and a
/// second picture shows where they differ.
class TestScreens : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void looksAsKept_data();
    void looksAsKept();
    void keepsNothingElse();

private:
    QString size; ///< Of the screen, as in "800x480".
    QDir kept;
    QDir made; ///< In the build directory.
};

void TestScreens::initTestCase()
{
    const QSize screen = QGuiApplication::primaryScreen()->size();
    size = QStringLiteral("%1x%2").arg(screen.width()).arg(screen.height());
    kept.setPath(QStringLiteral("/opt/source/docs/screens/") + size);
    made.setPath(QStringLiteral("/opt/pictures/") + size);
    made.removeRecursively();
    QVERIFY(made.mkpath(QStringLiteral(".")));
    QApplication::setCursorFlashTime(0); // always shown
    for (const Qt::UIEffect effect :
         {Qt::UI_AnimateMenu, Qt::UI_AnimateCombo, Qt::UI_AnimateTooltip})
        QApplication::setEffectEnabled(effect, false);
}

static std::vector<Exhibit> allExhibits()
{
    std::vector<Exhibit> all = mainExhibits;
    all.insert(all.end(), toolExhibits.begin(), toolExhibits.end());
    return all;
}

void TestScreens::looksAsKept_data()
{
    QTest::addColumn<int>("number");
    int number = 0;
    for (const Exhibit &exhibit : allExhibits())
        QTest::newRow(exhibit.name) << number++;
}

/// The picture, pale, with every pixel red that is another one in @p expected.
static QImage difference(const QImage &picture, const QImage &expected)
{
    QImage result = picture;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const bool same = expected.valid(x, y) && picture.pixel(x, y) == expected.pixel(x, y);
            const int pale = 192 + qGray(picture.pixel(x, y)) / 4;
            result.setPixel(x, y, same ? qRgb(pale, pale, pale) : qRgb(255, 0, 0));
        }
    }
    return result;
}

void TestScreens::looksAsKept()
{
    QFETCH(int, number);
    Instrument::clear();
    const Exhibit exhibit = allExhibits().at(static_cast<std::size_t>(number));
    const QImage picture = exhibit.take();
    QVERIFY(!picture.isNull());

    const QString name = QString::fromLatin1(exhibit.name);
    const QString file = name + QStringLiteral(".png");
    const QImage expected = QImage(kept.filePath(file)).convertToFormat(QImage::Format_RGB32);
    if (picture == expected)
        return;
    QVERIFY(picture.save(made.filePath(file)));
    QVERIFY(difference(picture, expected).save(made.filePath(name + QStringLiteral(".diff.png"))));
    const QString message = QStringLiteral("not as docs/screens/%1/%2: see pictures/%1/%2 and "
                                           "%3.diff.png in the build directory")
                                .arg(size, file, name);
    QFAIL(qPrintable(message));
}

void TestScreens::keepsNothingElse()
{
    QStringList files;
    for (const Exhibit &exhibit : allExhibits())
        files += QString::fromLatin1(exhibit.name) + QStringLiteral(".png");
    files.sort();
    QCOMPARE(kept.entryList(QDir::Files | QDir::NoDotAndDotDot), files);
}

int main(int argc, char **argv)
{
    // Month names and letters are the same wherever the test runs.
    qputenv("LC_ALL", "C.UTF-8");
    qputenv("TZ", "UTC");
    qputenv("QT_FONT_DPI", "96");
    QApplication::setStyle(QStringLiteral("fusion")); // the one that most platforms choose
    return CommandLine::run<TestScreens>(argc, argv);
}
#include "tst_screens.moc"
