// Prints how many companies the file import panel offers.

#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>

#include <iostream>

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    const KOZAV::UI::ZAV_ImportFromFile_Widget panel(nullptr);
    std::cout << panel.findChild<QComboBox*>()->count() << '\n';
}
