#pragma once

#include <QDir>

// Where an update is looked for on the USB storage device.

constexpr char usbDevicePath[] = "/sys/class/block/sda";
constexpr char usbMountPoint[] = "/media/usb0";
constexpr char updatePath[] = "/media/usb0/update";
constexpr char overridePath[] = "/media/usb0/update/OVERRIDE";

/// What counts as an override: plain files that are not hidden. A directory without any is empty.
constexpr QDir::Filters overrideFilter = QDir::Files | QDir::NoSymLinks | QDir::NoDotAndDotDot;
