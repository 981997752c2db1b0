# What the programs show in a terminal.
zav_add_test(terminal_printable_text SOURCES terminalPrintableText.cpp LIBRARIES zav_terminal LABELS terminal)
