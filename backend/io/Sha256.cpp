#include "backend/io/Sha256.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>

namespace KOZAV::Backend {

namespace {

/// Fetched once: to look it up for each of thousands of small files costs more than to hash them.
const EVP_MD* algorithm()
{
    static const EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return sha256;
}

} // namespace

void Sha256::FreeContext::operator()(evp_md_ctx_st* context) const
{
    EVP_MD_CTX_free(context);
}

Sha256::Sha256()
    : m_context(EVP_MD_CTX_new())
{
    m_failed = !m_context || !algorithm() || EVP_DigestInit_ex(m_context.get(), algorithm(), nullptr) != 1;
}

Sha256::~Sha256() = default;

void Sha256::add(const char* bytes, qint64 size)
{
    if (!m_failed)
        m_failed = EVP_DigestUpdate(m_context.get(), bytes, static_cast<size_t>(size)) != 1;
}

QByteArray Sha256::result()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
    unsigned length = 0;
    if (m_failed || EVP_DigestFinal_ex(m_context.get(), digest.data(), &length) != 1)
        return {};
    m_failed = true;
    return QByteArray(reinterpret_cast<const char*>(digest.data()), static_cast<int>(length)).toHex();
}

bool isSha256(const QByteArray& text)
{
    constexpr int hexLength = 64;
    const auto isHexDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    return text.size() == hexLength && std::all_of(text.cbegin(), text.cend(), isHexDigit);
}

} // namespace KOZAV::Backend
