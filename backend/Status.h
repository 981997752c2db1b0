#pragma once

#include <QString>

#include <optional>
#include <utility>

namespace KOZAV::Backend {

/// What kind of failure a Status reports.
enum class ErrorCode {
    None,
    InvalidArgument, ///< a name, value or location that cannot be accepted
    NotFound,
    AlreadyExists,    ///< taken by other content
    NotPermitted,     ///< the operating system or the server refuses access
    NoSpace,          ///< disk, quota or inodes exhausted
    Io,               ///< reading or writing failed
    ChangedWhileRead, ///< a source file was changed, replaced or removed while it was read
    Corrupt,          ///< stored data is not what was stored
    Configuration,    ///< the configuration is missing, broken or not usable
    Unavailable,      ///< a server or a locked database cannot be reached in time
    OutcomeUnknown,   ///< the connection was lost before the answer: the change may have been made
    Internal
};

/// Result of an operation: success, or a code and one clear sentence that names what was tried and why it
/// failed.
class [[nodiscard]] Status
{
public:
    Status() = default;
    Status(ErrorCode code, QString message)
        : m_code(code)
        , m_message(std::move(message))
    {
    }

    // A failure of each kind.
    static Status invalidArgument(QString message)
    {
        return {ErrorCode::InvalidArgument, std::move(message)};
    }
    static Status notFound(QString message) { return {ErrorCode::NotFound, std::move(message)}; }
    static Status alreadyExists(QString message) { return {ErrorCode::AlreadyExists, std::move(message)}; }
    static Status notPermitted(QString message) { return {ErrorCode::NotPermitted, std::move(message)}; }
    static Status noSpace(QString message) { return {ErrorCode::NoSpace, std::move(message)}; }
    static Status io(QString message) { return {ErrorCode::Io, std::move(message)}; }
    static Status changedWhileRead(QString message)
    {
        return {ErrorCode::ChangedWhileRead, std::move(message)};
    }
    static Status corrupt(QString message) { return {ErrorCode::Corrupt, std::move(message)}; }
    static Status configuration(QString message) { return {ErrorCode::Configuration, std::move(message)}; }
    static Status unavailable(QString message) { return {ErrorCode::Unavailable, std::move(message)}; }
    static Status outcomeUnknown(QString message) { return {ErrorCode::OutcomeUnknown, std::move(message)}; }
    static Status internal(QString message) { return {ErrorCode::Internal, std::move(message)}; }

    [[nodiscard]] bool ok() const { return m_code == ErrorCode::None; }
    [[nodiscard]] ErrorCode code() const { return m_code; }
    [[nodiscard]] const QString& message() const { return m_message; }

    /// The same failure, told as "<context>: <message>": what was being done, where the message names only
    /// what went wrong. A success stays one.
    [[nodiscard]] Status in(const QString& context) const
    {
        return ok() ? *this : Status(m_code, context + QStringLiteral(": ") + m_message);
    }

private:
    ErrorCode m_code = ErrorCode::None;
    QString m_message;
};

/// A value, or the Status that says why there is none.
template <typename T>
class [[nodiscard]] Result
{
public:
    Result(T value)
        : m_value(std::move(value))
    {
    } // NOLINT(google-explicit-constructor)
    Result(Status failure)
        : m_status(std::move(failure))
    {
    } // NOLINT(google-explicit-constructor)

    [[nodiscard]] bool ok() const { return m_value.has_value(); }
    [[nodiscard]] const Status& status() const { return m_status; }
    [[nodiscard]] ErrorCode code() const { return m_status.code(); }
    [[nodiscard]] const QString& message() const { return m_status.message(); }

    /// Only where ok().
    [[nodiscard]] T& value() { return *m_value; }
    [[nodiscard]] const T& value() const { return *m_value; }
    T* operator->() { return &*m_value; }
    const T* operator->() const { return &*m_value; }

private:
    std::optional<T> m_value;
    Status m_status;
};

} // namespace KOZAV::Backend
