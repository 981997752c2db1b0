#pragma once

#include "backend/Status.h"
#include "backend/io/FileDescriptor.h"
#include "backend/io/Folder.h"

#include <string>

namespace KOZAV::Backend {

/// Opens a regular file for reading. Anything else (a folder, a FIFO, a device) is InvalidArgument and cannot
/// hang.
Result<FileDescriptor> openForReading(const std::string& path);

/// The same for an entry of an open folder, following no symbolic link on the way.
Result<FileDescriptor> openForReadingIn(const Folder& folder, const std::string& relativePath);

/// Reads until size bytes are there or the file ends; returns how many there are. path is for messages.
Result<qint64> readFully(const FileDescriptor& file, char* buffer, qint64 size, const std::string& path);
Result<qint64> readFullyAt(const FileDescriptor& file, char* buffer, qint64 size, qint64 offset,
                           const std::string& path);

/// Writes all of the bytes. neededBytes: what the whole file will need, for the message of a full disk.
Status writeFully(const FileDescriptor& file, const char* bytes, qint64 size, const std::string& path,
                  qint64 neededBytes = -1);
Status writeFullyAt(const FileDescriptor& file, const char* bytes, qint64 size, qint64 offset,
                    const std::string& path);

/// Content of a file that is expected to be small; Corrupt where it is longer than limit.
Result<std::string> readSmallFile(const std::string& path, qint64 limit);

/// Brings the content to the disk. A failure is final: what the disk then holds is not known, and a second
/// sync could succeed without having written it.
Status syncFile(const FileDescriptor& file, const std::string& path);

/// Lets the system begin to write this part of the file, so that syncFile() finds less to do.
void startWriting(const FileDescriptor& file, qint64 offset, qint64 size);

} // namespace KOZAV::Backend
