#pragma once

namespace KOZAV::Terminal {

/// Makes every failure to write to the standard streams an error that can be seen. To be called before
/// anything else of a program opens a file.
///
/// A stream that is closed would hand its number on to the next file that is opened, such as a database, into
/// which the report would then be written; it is kept from that, and writing to it fails. A reader that goes
/// away is a write that fails, not the end of the program.
void guardStandardStreams();

} // namespace KOZAV::Terminal
