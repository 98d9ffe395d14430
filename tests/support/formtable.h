#pragma once

#include <QDialog>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

// What a dialog's form is made of, as tables, and how the form that was built differs from them.

namespace Form {

/// One of the form's own widgets.
struct Widget
{
    const char *name;
    const char *className;
    const char *parent;
};

/// A property that is not as the toolkit makes it.
struct Property
{
    const char *widget;
    const char *property;
    QVariant value; ///< A size policy as "Preferred/Expanding".
    QVariant atStart = {}; ///< What the program makes of it at once, if it does.
};

/// What is stated of a widget's font; all else is the toolkit's choice.
struct Font
{
    const char *widget;
    const char *family; ///< Or null.
    int size; ///< In points, or 0.
    int weight; ///< Or -1.
    uint more = 0; ///< Further bits of QFont::ResolveProperties.
};

constexpr int byToolkit = -1; ///< A margin or spacing that nobody states.

struct Layout
{
    const char *name;
    const char *className;
    const char *parent;
    QVector<int> margins; ///< Left, top, right, bottom.
    int spacing;
    /// In order: a name, or "horizontal 40x20 Expanding/Minimum", then what is not plain, as in
    /// "tableLogFiles, stretch 5" or "pbuttonViewFile, centred vertically".
    QStringList items;
};

struct Table
{
    QVector<Widget> widgets;
    QVector<Property> properties;
    QVector<Font> fonts;
    QVector<Layout> layouts;
};

enum class State { Bare, Started };

/// A line for each thing in which @p dialog is not what @p form says, or nothing. Every property of
/// the plain types counts, stated or not, and every layout and font.
QString differences(const QDialog *dialog, const Table &form, State state);

/// The slots that a class adds, in their order; anything else that it adds is marked.
QStringList addedSlots(const QMetaObject &meta);

} // namespace Form
