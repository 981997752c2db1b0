#pragma once

#include "backend/HostInterface.h"

#include <QString>

#include <optional>
#include <utility>

namespace KOZAV::Backend {

/// Result of an operation: success, or a code and one clear sentence that names what was tried and why it
/// failed. Where it was a part of the site that failed, the failure says so.
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

    [[nodiscard]] SitePart part() const { return m_part; }

    /// The same failure in other words.
    [[nodiscard]] Status retold(QString message) const
    {
        Status status(m_code, std::move(message));
        status.m_part = m_part;
        return status;
    }

    /// The same failure, told as "<context>: <message>": what was being done, where the message names only
    /// what went wrong. A success stays one.
    [[nodiscard]] Status in(const QString& context) const
    {
        return ok() ? *this : retold(context + QStringLiteral(": ") + m_message);
    }

    /// The same failure, as one of that part, unless it is known to be another's. A success stays one.
    [[nodiscard]] Status from(SitePart part) const
    {
        Status status = *this;
        if (!ok() && m_part == SitePart::None)
            status.m_part = part;
        return status;
    }

private:
    ErrorCode m_code = ErrorCode::None;
    SitePart m_part = SitePart::None;
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
