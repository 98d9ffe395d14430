#pragma once

#include <QImage>

#include <vector>

/// A picture of the program: what it is called, and what brings the program there and takes it.
/// Each starts on an empty instrument.
struct Exhibit
{
    const char *name;
    QImage (*take)();
};

extern const std::vector<Exhibit> mainExhibits; ///< The main window.
extern const std::vector<Exhibit>
    toolExhibits; ///< Everything that its two maintenance buttons open.
