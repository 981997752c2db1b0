#pragma once

#include <QByteArray>

#include <memory>

struct evp_md_ctx_st;

namespace KOZAV::Backend {

/// SHA-256 of bytes that arrive piece by piece.
class Sha256 final
{
public:
    Sha256();
    ~Sha256();
    Q_DISABLE_COPY(Sha256)

    void add(const char* bytes, qint64 size);

    /// Lower-case hexadecimal; empty where the cryptographic library failed. Ends the calculation.
    [[nodiscard]] QByteArray result();

private:
    struct FreeContext
    {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, FreeContext> m_context;
    bool m_failed = false;
};

/// Whether text is a SHA-256 as result() gives it.
bool isSha256(const QByteArray& text);

} // namespace KOZAV::Backend
