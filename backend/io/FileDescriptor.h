#pragma once

#include <QtGlobal>

namespace KOZAV::Backend {

/// Owner of an open file of the operating system.
class FileDescriptor final
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();
    Q_DISABLE_COPY(FileDescriptor)

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int get() const { return m_descriptor; }

    /// Hands the descriptor over to the caller.
    [[nodiscard]] int release();
    void close();

private:
    int m_descriptor = -1;
};

} // namespace KOZAV::Backend
