#pragma once

#include <QString>

class QWidget;

namespace KOZAV::Host {

/// The folder of the manual's pages in the client's language: beside the program, as in an installation and
/// in a build tree, else among the shared data of the system. Empty where none is installed.
[[nodiscard]] QString installedManual();

/// The page of the manual that tells of a part of the window.
/// @param part  object name of a dock or of a page in the middle; any other gets the first page
[[nodiscard]] QString manualPageOf(const QString& part);

/// Shows a page of the manual beside the window; turns the window that shows it already to that page, and
/// brings it to the front.
/// @param page    as "batch"; the first page where the manual has none of that name
/// @param manual  the folder of its pages; where it is empty a short page of the client's own is shown, with
///                the keys, which is at hand beside a manual as well
void showHelp(QWidget& window, const QString& page, const QString& manual = installedManual());

} // namespace KOZAV::Host
