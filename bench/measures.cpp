#include "bench/measures.h"

#include <QEvent>
#include <QWidget>

#include <algorithm>
#include <cstdio>

static double quantile(const QVector<double> &sorted, double part)
{
    const double place = part * (sorted.size() - 1);
    const int below = static_cast<int>(place);
    const int above = std::min(below + 1, sorted.size() - 1);
    return sorted.at(below) + (place - below) * (sorted.at(above) - sorted.at(below));
}

QString spread(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return QStringLiteral("%1 [%2 %3]")
        .arg(quantile(values, 0.5), 0, 'f', 2)
        .arg(quantile(values, 0.25), 0, 'f', 2)
        .arg(quantile(values, 0.75), 0, 'f', 2);
}

QString ratio(const QVector<double> &values, const QVector<double> &others)
{
    QVector<double> ratios;
    for (int round = 0; round < values.size(); ++round)
        ratios += values.at(round) / others.at(round);
    return spread(ratios);
}

FirstPaint::FirstPaint(QWidget *widget)
    : QObject(widget)
{
    widget->installEventFilter(this);
}

bool FirstPaint::eventFilter(QObject *, QEvent *event)
{
    seen = seen || event->type() == QEvent::Paint;
    return false;
}

void printRow(const QString &name, const QVector<QString> &cells)
{
    QString line = name.leftJustified(26);
    for (const QString &cell : cells)
        line += cell.rightJustified(26);
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}
