#pragma once

#include <QObject>
#include <QString>
#include <QVector>

class QWidget;

/// The median, and the quartiles around it, as in "1.23 [1.20 1.31]".
QString spread(QVector<double> values);

/// The spread of the rounds' own ratios.
QString ratio(const QVector<double> &values, const QVector<double> &others);

/// Sees when a widget is painted for the first time since this was made.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(QWidget *widget);
    bool eventFilter(QObject *object, QEvent *event) override;

    bool seen = false;
};

void printRow(const QString &name, const QVector<QString> &cells);

/// Prints what a large log costs the log viewer beside a bare text view.
void measureLargeLogs();
