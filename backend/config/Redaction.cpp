#include "backend/config/Redaction.h"

#include <QRegularExpression>

namespace KOZAV::Backend {

namespace {

/// "scheme://user:password@": up to the last "@" before the path, as a password may hold one unescaped.
const QRegularExpression& passwordPattern()
{
    static const QRegularExpression pattern(QStringLiteral("(://[^:/@\\s]*:)([^/\\s]*)(@)"));
    return pattern;
}

/// Options of a URI that are secrets themselves.
const QRegularExpression& secretOptionPattern()
{
    static const QRegularExpression pattern(
        QStringLiteral("((?:tlsCertificateKeyFilePassword|sslClientCertificateKeyPassword)=)[^&\\s\"]*"),
        QRegularExpression::CaseInsensitiveOption);
    return pattern;
}

} // namespace

QString withoutPassword(const QString& text)
{
    QString shown = text;
    shown.replace(passwordPattern(), QStringLiteral("\\1***\\3"));
    return shown.replace(secretOptionPattern(), QStringLiteral("\\1***"));
}

bool holdsPassword(const QString& text)
{
    return passwordPattern().match(text).hasMatch() || secretOptionPattern().match(text).hasMatch();
}

} // namespace KOZAV::Backend
