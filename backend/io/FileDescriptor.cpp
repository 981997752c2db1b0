#include "backend/io/FileDescriptor.h"

#include <unistd.h>

#include <utility>

namespace KOZAV::Backend {

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other) {
        close();
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

FileDescriptor::~FileDescriptor()
{
    close();
}

int FileDescriptor::release()
{
    return std::exchange(m_descriptor, -1);
}

void FileDescriptor::close()
{
    // What was written counts only after syncFile(), so the result of close() has nothing to add.
    if (isOpen())
        ::close(release());
}

} // namespace KOZAV::Backend
