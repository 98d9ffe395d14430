#include "tests/tools/formtext.h"

#include <QBoxLayout>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QMetaEnum>
#include <QMetaProperty>
#include <QPushButton>
#include <QTextEdit>

#include <memory>

static QString sizeText(const QSize &size)
{
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

static QString policyText(const QSizePolicy &policy)
{
    const auto policies = QMetaEnum::fromType<QSizePolicy::Policy>();
    return QStringLiteral("%1/%2").arg(
        QString::fromLatin1(policies.valueToKey(policy.horizontalPolicy())),
        QString::fromLatin1(policies.valueToKey(policy.verticalPolicy())));
}

/// A font that no form states, for the window: what its widgets do not take over is their own.
static QFont strangeFont()
{
    QFont font(QStringLiteral("Strange"), 77, 12, true);
    font.setUnderline(true);
    return font;
}

static QString fontText(const QFont &font, uint stated)
{
    QStringList words;
    if (stated & QFont::FamilyResolved)
        words += font.family();
    if (stated & QFont::SizeResolved)
        words += QStringLiteral("%1 pt").arg(font.pointSize());
    if (stated & QFont::WeightResolved)
        words += QStringLiteral("weight %1").arg(font.weight());
    if (stated & ~uint(QFont::FamilyResolved | QFont::SizeResolved | QFont::WeightResolved))
        words += QStringLiteral("and more");
    return words.join(QLatin1Char(' '));
}

/// What a widget states itself while its window has the strange font.
static uint ownFont(const QFont &font)
{
    const QFont strange = strangeFont();
    uint stated = 0;
    if (font.family() != strange.family())
        stated |= QFont::FamilyResolved;
    if (font.pointSize() != strange.pointSize())
        stated |= QFont::SizeResolved;
    if (font.weight() != strange.weight())
        stated |= QFont::WeightResolved;
    if (font.style() != strange.style() || !font.underline())
        stated |= QFont::StyleResolved;
    return stated;
}

/// A widget as the toolkit makes it in such a window.
static const QWidget *plainWidget(const QByteArray &className, QWidget *window)
{
    if (className == "QPushButton")
        return new QPushButton(window);
    if (className == "QLabel")
        return new QLabel(window);
    if (className == "QTextEdit")
        return new QTextEdit(window);
    return window;
}

/// A property's value in words; null for one that is told elsewhere, or that the others bring.
static QString valueText(const QWidget *widget, const QMetaProperty &property)
{
    static const QByteArrayList elsewhere
        = {"objectName", "minimumWidth",  "minimumHeight", "maximumWidth", "maximumHeight",
           "visible",    "sizePolicy",    "documentTitle", "html",         "plainText",
           "markdown",   "mouseTracking", "tabStopWidth",  "modal"};
    if (!property.isWritable() || elsewhere.contains(property.name())
        || (!widget->isWindow() && qstrcmp(property.name(), "size") == 0))
        return {};
    const QVariant value = property.read(widget);
    if (property.isEnumType())
        return QString::fromLatin1(property.enumerator().valueToKeys(value.toInt()));
    if (value.userType() == QMetaType::QSize)
        return sizeText(value.toSize());
    const QByteArrayList types = {"bool", "int", "double", "QString"};
    if (!types.contains(property.typeName()))
        return {};
    return QLatin1Char(' ') + value.toString().replace(QLatin1Char('\n'), QLatin1String("\\n"));
}

/// The class that the form gives the widget; a screen's own class only adds slots.
static const QMetaObject *toolkitClass(const QWidget *widget)
{
    const QMetaObject *meta = widget->metaObject();
    while (*meta->className() != 'Q')
        meta = meta->superClass();
    return meta;
}

static QString widgetText(const QWidget *widget, const QString &font)
{
    const QMetaObject *meta = toolkitClass(widget);
    const std::unique_ptr<QWidget> plainWindow(widget->window()->inherits("QDialog") ? new QDialog
                                                                                     : new QWidget);
    const QWidget *plain = plainWidget(meta->className(), plainWindow.get());
    QStringList settings;
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const QString value = valueText(widget, property);
        if (value != valueText(plain, property))
            settings += QString::fromLatin1(property.name()) + QLatin1Char(' ') + value.trimmed();
    }
    settings.sort();
    if (!font.isEmpty())
        settings.prepend(font);
    if (policyText(widget->sizePolicy()) != policyText(plain->sizePolicy()))
        settings.prepend(policyText(widget->sizePolicy()));
    return QStringLiteral("%1 %2: %3")
        .arg(QString::fromLatin1(meta->className()), widget->objectName(),
             settings.join(QLatin1String("; ")));
}

/// The window's widgets, and their own fonts.
using Fonts = QVector<std::pair<const QWidget *, QString>>;

/// Leaves the form without style sheets, under which fonts are not taken over.
static Fonts ownFonts(QWidget *form)
{
    QVector<std::pair<QWidget *, uint>> widgets;
    for (QObject *child : form->children()) {
        if (child->isWidgetType()) {
            auto *widget = static_cast<QWidget *>(child);
            const bool own = widget->testAttribute(Qt::WA_SetFont);
            widgets += {widget, own ? widget->font().resolve() : 0U};
            widget->setStyleSheet(QString());
        }
    }
    form->setStyleSheet(QString());
    form->setFont(strangeFont());
    Fonts fonts;
    for (const auto &[widget, resolved] : qAsConst(widgets))
        fonts += {widget, fontText(widget->font(), ownFont(widget->font()) & resolved)};
    return fonts;
}

QStringList widgetsOf(const MakeForm &make)
{
    const std::unique_ptr<QWidget> form = make();
    const std::unique_ptr<QWidget> twin = make();
    const QString windowFont = fontText(form->font(), form->font().resolve());
    QStringList lines;
    for (const auto &own : ownFonts(twin.get())) {
        const auto *widget = form->findChild<QWidget *>(own.first->objectName());
        lines += widgetText(widget, own.second);
    }
    lines.sort();
    lines.prepend(widgetText(form.get(), windowFont));
    return lines;
}

static QString itemText(QLayoutItem *item)
{
    QString text;
    if (item->widget()) {
        text = item->widget()->objectName();
    } else if (item->layout()) {
        text = item->layout()->objectName();
    } else {
        const QSizePolicy policy = item->spacerItem()->sizePolicy();
        const bool across = item->expandingDirections() & Qt::Horizontal;
        text = QStringLiteral("%1 %2 %3")
                   .arg(across ? QStringLiteral("horizontal") : QStringLiteral("vertical"),
                        sizeText(item->spacerItem()->sizeHint()), policyText(policy));
    }
    if (item->alignment() == Qt::AlignHCenter)
        text += QStringLiteral(" centred");
    else if (item->alignment() == Qt::AlignRight)
        text += QStringLiteral(" right");
    else if (item->alignment() != 0)
        text += QStringLiteral(" alignment %1").arg(int(item->alignment()));
    return text;
}

static QString joined(const QVector<int> &numbers)
{
    QStringList texts;
    for (const int number : numbers)
        texts += QString::number(number);
    return texts.join(QLatin1Char(','));
}

static QString marginsText(const QLayout *layout)
{
    const QMargins margins = layout->contentsMargins();
    return joined({margins.left(), margins.top(), margins.right(), margins.bottom()});
}

/// What is set on a layout of a form, against @p plain, one as the toolkit makes it.
static QString layoutSettings(const QLayout *layout, const QLayout *plain)
{
    QStringList settings;
    QVector<int> stretches;
    if (const auto *box = qobject_cast<const QBoxLayout *>(layout)) {
        for (int i = 0; i < box->count(); ++i)
            stretches += box->stretch(i);
    } else if (const auto *grid = qobject_cast<const QGridLayout *>(layout)) {
        for (int i = 0; i < grid->rowCount(); ++i)
            stretches += grid->rowStretch(i);
        for (int i = 0; i < grid->columnCount(); ++i)
            stretches += grid->columnStretch(i);
    }
    if (stretches.count(0) != stretches.size())
        settings += QStringLiteral("stretch ") + joined(stretches);
    if (layout->spacing() != plain->spacing())
        settings += QStringLiteral("spacing %1").arg(layout->spacing());
    if (marginsText(layout) != marginsText(plain))
        settings += QStringLiteral("margins ") + marginsText(layout);
    if (layout->sizeConstraint() != plain->sizeConstraint())
        settings += QStringLiteral("constrained");
    return settings.join(QLatin1String("; "));
}

static QStringList layoutText(QLayout *layout)
{
    QWidget plainForm;
    auto *plainOuter = new QVBoxLayout(&plainForm);
    auto *plainInner = new QGridLayout;
    plainOuter->addLayout(plainInner);
    const bool nested = !layout->parent()->isWidgetType();
    QStringList lines;
    const auto *grid = qobject_cast<QGridLayout *>(layout);
    for (int i = 0; i < layout->count(); ++i) {
        int row = 0, column = 0, rows = 0, columns = 0;
        if (grid)
            grid->getItemPosition(i, &row, &column, &rows, &columns);
        const QString span = rows > 1 || columns > 1
            ? QStringLiteral("spanning %1x%2 ").arg(rows).arg(columns)
            : QString();
        lines += (grid ? QStringLiteral("%1,%2 ").arg(row).arg(column) : QString()) + span
            + itemText(layout->itemAt(i));
    }
    if (grid)
        lines.sort(); // cells say where an item is, whenever it was added
    lines.prepend(
        QStringLiteral("%1 %2 on %3: %4")
            .arg(layout->objectName(), QString::fromLatin1(layout->metaObject()->className()),
                 layout->parent()->objectName(),
                 layoutSettings(layout, nested ? static_cast<QLayout *>(plainInner) : plainOuter)));
    return lines;
}

QStringList layoutsOf(const MakeForm &make)
{
    const std::unique_ptr<QWidget> form = make();
    QStringList lines;
    for (QLayout *layout : form->findChildren<QLayout *>()) {
        if (!layout->objectName().isEmpty())
            lines += layoutText(layout);
    }
    return lines;
}
