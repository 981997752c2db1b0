#pragma once

#include <QtGlobal>

namespace KOZAV::Backend {

/// Makes libmongoc ready, once a process, and has its messages logged as kozav.backend.store, without
/// passwords.
void startMongoDriver();

/// Keeps the messages of libmongoc about what this thread does out of the log while it lives: those about a
/// URI may quote pieces of a password.
class MongoLogPause final
{
public:
    MongoLogPause();
    ~MongoLogPause();
    Q_DISABLE_COPY(MongoLogPause)
};

} // namespace KOZAV::Backend
