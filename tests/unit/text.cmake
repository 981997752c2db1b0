# Texts that the backend makes.
zav_add_test(text_iso_time SOURCES textIsoTime.cpp LIBRARIES kozav_backend_core LABELS text)
