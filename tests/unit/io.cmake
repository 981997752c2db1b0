# Files of the operating system. zav_file_test_support is the store tests' (store.cmake).
zav_add_test(io_publishing SOURCES ioPublishing.cpp LIBRARIES zav_file_test_support Threads::Threads LABELS io)
zav_add_test(io_beneath SOURCES ioBeneath.cpp LIBRARIES zav_file_test_support Threads::Threads LABELS io)
