#include "Appearance.h"

#include "Theme.h"

#include <QApplication>
#include <QPalette>
#include <QSettings>
#include <QWidget>

#include <cstdlib>

namespace velmo::Appearance {

namespace {

// The system's window colour, read once before Velmo gives Qt its own palette.
bool systemIsDark() {
    static const bool dark = QApplication::palette().color(QPalette::Window).lightness() < 128;
    return dark;
}

} // namespace

QString current() {
    const char* environment = std::getenv("VELMO_APPEARANCE");
    const QString fallback = environment ? QString(environment) : QString("system");
    return QSettings().value("appearance", fallback).toString();
}

void set(const QString& value) {
    QSettings().setValue("appearance", value);
    apply(value);
}

void apply(const QString& value) {
    const bool system = systemIsDark();
    Theme::setDark(value == "dark" || (value != "light" && system));
    for (QWidget* widget : QApplication::allWidgets()) widget->update();
}

} // namespace velmo::Appearance
