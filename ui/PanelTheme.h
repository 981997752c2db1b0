#pragma once

#include "zav_import_export.h"

#include <QFont>
#include <QPalette>
#include <QString>

class QApplication;
class QWidget;

namespace KOZAV::UI {

/// The dark colours that go with the panels' own style sheets, which colour only buttons, group boxes and the
/// table: labels, fields, lists, the progress bar and the ground below them have the colours of their host.
[[nodiscard]] ZAV_IMPORT_EXPORT QPalette panelPalette();

/// The application's font in a family that has Chinese and Latin letters alike, where one is installed, 14
/// pixels high: the size that the panels are laid out for.
[[nodiscard]] ZAV_IMPORT_EXPORT QFont panelFont();

/// Style sheet with what the panels' own sheets leave open of buttons and fields: padding, borders, how they
/// look switched off and with the keyboard on them. It needs no pictures.
[[nodiscard]] ZAV_IMPORT_EXPORT QString panelStyleSheet();

/// Gives the whole application the look that the panels are made for: the style Fusion, panelPalette(),
/// panelFont() and panelStyleSheet(). Call it before the first widget is made. A style sheet that the
/// application had is replaced: a host with one of its own sets panelStyleSheet() followed by it.
ZAV_IMPORT_EXPORT void applyPanelTheme(QApplication& application);

/// Gives only the place that panels stand in, and the widgets that are in it now, panelPalette() and
/// panelFont(); for a host that has another look. Call it when the panels have been made: what stands in a
/// style sheet's reach, as their fields do, inherits neither. Message boxes are windows, and keep the
/// application's look. Styles that draw controls from pictures instead of the palette, as those of Windows
/// and macOS do, stay light: there the application's style has to be Fusion.
ZAV_IMPORT_EXPORT void applyPanelTheme(QWidget& place);

} // namespace KOZAV::UI
