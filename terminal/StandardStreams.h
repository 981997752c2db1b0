#pragma once

namespace KOZAV::Terminal {

/// Keeps the numbers of standard streams that are closed from the files that the program opens: what is
/// printed would else be written into one of these, such as a database. Writing to such a stream fails. To be
/// called before anything else opens a file.
void holdStandardStreams();

/// From now on a reader of the output who goes away is a write that fails, not the end of the program.
void outliveReaders();

} // namespace KOZAV::Terminal
