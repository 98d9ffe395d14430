#include "tests/support/formtable.h"

#include <QApplication>
#include <QBoxLayout>
#include <QDebug>
#include <QFont>
#include <QLabel>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTextEdit>

namespace Form {

static QString text(const char *latin) { return QString::fromLatin1(latin); }

static const QWidget *widgetOf(const QDialog *dialog, const char *name)
{
    return dialog->objectName() == text(name) ? dialog : dialog->findChild<QWidget *>(text(name));
}

static QString policyText(const QSizePolicy &policy)
{
    const QMetaEnum names = QMetaEnum::fromType<QSizePolicy::Policy>();
    return text(names.valueToKey(policy.horizontalPolicy())) + QLatin1Char('/')
        + text(names.valueToKey(policy.verticalPolicy()));
}

/// The children that are the form's own: those of the toolkit have names of its own or none.
static QStringList ownWidgets(const QWidget *parent)
{
    QStringList lines;
    for (const QObject *child : parent->children()) {
        const QString name = child->objectName();
        if (child->isWidgetType() && !name.isEmpty() && !name.startsWith(QLatin1String("qt_")))
            lines += text(child->metaObject()->className()) + QLatin1Char(' ') + name;
    }
    return lines;
}

static QStringList widgetDifferences(const QDialog *dialog, const Table &form)
{
    QStringList lines;
    QVector<const char *> parents = {dialog->metaObject()->className()};
    for (const Widget &row : form.widgets)
        parents += row.name;
    parents[0] = form.widgets.first().parent;
    for (const char *parent : qAsConst(parents)) {
        QStringList expected;
        for (const Widget &row : form.widgets) {
            if (qstrcmp(row.parent, parent) == 0)
                expected += text(row.className) + QLatin1Char(' ') + text(row.name);
        }
        expected.sort();
        const QWidget *widget = widgetOf(dialog, parent);
        QStringList seen = widget ? ownWidgets(widget) : QStringList(QStringLiteral("none"));
        seen.sort();
        if (seen != expected)
            lines += QStringLiteral("%1 holds %2, not %3")
                         .arg(text(parent), seen.join(QLatin1Char(',')),
                              expected.join(QLatin1Char(',')));
    }
    return lines;
}

/// A widget of the same class as the toolkit makes it.
static QWidget *plainWidget(const QByteArray &className, QDialog *host)
{
    if (className == "QPushButton")
        return new QPushButton(host);
    if (className == "QLabel")
        return new QLabel(host);
    if (className == "QStackedWidget")
        return new QStackedWidget(host);
    if (className == "QTableWidget")
        return new QTableWidget(host);
    if (className == "QTextEdit")
        return new QTextEdit(host);
    if (className == "QWidget")
        return new QWidget(host);
    return host;
}

/// A property's value in a form that can be compared; invalid for what has none, or stands
/// elsewhere.
static QVariant comparable(const QWidget *widget, const QMetaProperty &property)
{
    static const QByteArrayList elsewhere = {"objectName",
                                             "minimumWidth",
                                             "minimumHeight",
                                             "maximumWidth",
                                             "maximumHeight",
                                             "visible",
                                             "html",
                                             "markdown",
                                             "tabStopWidth", // as the distance
                                             "cornerButtonEnabled", // as the table
                                             "mouseTracking", // at the toolkit's will
                                             "modal"}; // up to whoever opens it
    const bool isSize = qstrcmp(property.name(), "size") == 0;
    if (!property.isWritable() || elsewhere.contains(property.name())
        || (isSize && !widget->isWindow()))
        return {};
    const QVariant value = property.read(widget);
    if (property.isEnumType())
        return value.toInt();
    if (value.canConvert<QSizePolicy>())
        return policyText(value.value<QSizePolicy>());
    const QByteArrayList types = {"bool", "int", "double", "QString", "QSize"};
    return types.contains(property.typeName()) ? value : QVariant();
}

static QString printed(const QVariant &value)
{
    QString line;
    QDebug(&line).nospace() << value;
    return line;
}

static QStringList propertyDifferences(const QWidget *widget, const Table &form, State state)
{
    QMap<QByteArray, QVariant> expected;
    for (const Property &row : form.properties) {
        if (widget->objectName() == text(row.widget))
            expected[row.property]
                = state == State::Started && row.atStart.isValid() ? row.atStart : row.value;
    }
    QStringList lines;
    QDialog host;
    const QMetaObject *meta
        = widget->isWindow() ? &QDialog::staticMetaObject : widget->metaObject();
    const QWidget *plain = plainWidget(meta->className(), &host);
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const QVariant seen = comparable(widget, property);
        if (!seen.isValid())
            continue;
        const QVariant value = expected.contains(property.name()) ? expected.take(property.name())
                                                                  : comparable(plain, property);
        if (seen != value)
            lines += QStringLiteral("%1 of %2 is %3, not %4")
                         .arg(text(property.name()), widget->objectName(), printed(seen),
                              printed(value));
    }
    for (auto row = expected.begin(); row != expected.end(); ++row)
        lines += QStringLiteral("%1 of %2 was not met").arg(text(row.key()), widget->objectName());
    return lines;
}

static QStringList fontDifferences(const QWidget *widget, const Table &form)
{
    Font stated = {nullptr, nullptr, 0, -1};
    for (const Font &row : form.fonts) {
        if (widget->objectName() == text(row.widget))
            stated = row;
    }
    uint mask = stated.more;
    if (stated.family)
        mask |= QFont::FamilyResolved;
    if (stated.size != 0)
        mask |= QFont::SizeResolved;
    if (stated.weight >= 0)
        mask |= QFont::WeightResolved;
    const QFont inherited
        = widget->isWindow() ? QApplication::font() : widget->parentWidget()->font();
    const QFont font = widget->font();
    // Nothing is said about what the parent's font states, too.
    if ((font.resolve() | inherited.resolve()) == (mask | inherited.resolve())
        && font.family() == (stated.family ? text(stated.family) : inherited.family())
        && font.pointSize() == (stated.size != 0 ? stated.size : inherited.pointSize())
        && font.weight() == (stated.weight >= 0 ? stated.weight : inherited.weight()))
        return {};
    return {QStringLiteral("the font of %1 is %2, %3")
                .arg(widget->objectName(), font.toString())
                .arg(font.resolve())};
}

static QString described(QBoxLayout *layout, int index)
{
    QLayoutItem *item = layout->itemAt(index);
    QString line;
    if (item->widget())
        line = item->widget()->objectName();
    else if (item->layout())
        line = item->layout()->objectName();
    else
        line = QStringLiteral("%1 %2x%3 %4")
                   .arg(item->spacerItem()->expandingDirections() == Qt::Horizontal
                            ? QStringLiteral("horizontal")
                            : QStringLiteral("vertical"))
                   .arg(item->sizeHint().width())
                   .arg(item->sizeHint().height())
                   .arg(policyText(item->spacerItem()->sizePolicy()));
    static const QMap<int, QString> alignments = {
        {0, QString()},
        {Qt::AlignHCenter, QStringLiteral(", centred horizontally")},
        {Qt::AlignVCenter, QStringLiteral(", centred vertically")},
        {Qt::AlignTop, QStringLiteral(", at the top")},
        {Qt::AlignBottom, QStringLiteral(", at the bottom")},
        {Qt::AlignRight, QStringLiteral(", at the right")},
    };
    line += alignments.value(int(item->alignment()), QStringLiteral(", elsewhere"));
    const int stretch = layout->stretch(index);
    return stretch == 0 ? line : line + QStringLiteral(", stretch %1").arg(stretch);
}

/// What a layout is, in one comparable line.
static QString described(QBoxLayout *layout)
{
    const QMargins margins = layout->contentsMargins();
    QStringList items;
    for (int i = 0; i < layout->count(); ++i)
        items += described(layout, i);
    return QStringLiteral("%1 %2 in %3, margins %4 %5 %6 %7, spacing %8: %9")
        .arg(text(layout->metaObject()->className()), layout->objectName(),
             layout->parent()->objectName())
        .arg(margins.left())
        .arg(margins.top())
        .arg(margins.right())
        .arg(margins.bottom())
        .arg(layout->spacing())
        .arg(items.join(QStringLiteral("; ")));
}

static QString described(const Layout &row)
{
    QWidget host;
    const QVBoxLayout plain(&host);
    return QStringLiteral("%1 %2 in %3, margins %4 %5 %6 %7, spacing %8: %9")
        .arg(text(row.className), text(row.name), text(row.parent))
        .arg(row.margins.at(0))
        .arg(row.margins.at(1))
        .arg(row.margins.at(2))
        .arg(row.margins.at(3))
        .arg(row.spacing == byToolkit ? plain.spacing() : row.spacing)
        .arg(row.items.join(QStringLiteral("; ")));
}

static QStringList layoutDifferences(const QDialog *dialog, const Table &form)
{
    QStringList seen;
    for (QBoxLayout *layout : dialog->findChildren<QBoxLayout *>()) {
        if (!layout->objectName().isEmpty())
            seen += described(layout);
    }
    QStringList lines;
    for (const Layout &row : form.layouts) {
        if (!seen.removeOne(described(row)))
            lines += QStringLiteral("missing: ") + described(row);
    }
    for (const QString &layout : qAsConst(seen))
        lines += QStringLiteral("instead: ") + layout;
    return lines;
}

QString differences(const QDialog *dialog, const Table &form, State state)
{
    QStringList lines = widgetDifferences(dialog, form);
    if (!lines.isEmpty())
        return lines.join(QLatin1Char('\n'));
    QVector<const QWidget *> widgets = {dialog};
    for (const Widget &row : form.widgets)
        widgets += widgetOf(dialog, row.name);
    for (const QWidget *widget : qAsConst(widgets))
        lines += propertyDifferences(widget, form, state) + fontDifferences(widget, form);
    return (lines + layoutDifferences(dialog, form)).join(QLatin1Char('\n'));
}

QStringList addedSlots(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const bool plain
            = method.methodType() == QMetaMethod::Slot && method.returnType() == QMetaType::Void;
        names += (plain ? QString() : QStringLiteral("not a plain slot: "))
            + text(method.methodSignature());
    }
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        names += QStringLiteral("property ") + text(meta.property(i).name());
    return names;
}

} // namespace Form
