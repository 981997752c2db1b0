#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace KOZAV::Samples {

/// A file or folder that could not be written. Thrown inside the library only: its public functions turn it
/// into the error text of their result.
class WriteError final : public std::exception
{
public:
    explicit WriteError(QString text)
        : m_text(std::move(text))
    {
    }

    [[nodiscard]] const QString& text() const { return m_text; }
    [[nodiscard]] const char* what() const noexcept override { return "a sample could not be written"; }

private:
    QString m_text;
};

} // namespace KOZAV::Samples
