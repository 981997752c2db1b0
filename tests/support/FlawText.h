#pragma once

#include "backend/database/Database.h"

#include <QRegularExpression>
#include <QString>
#include <QStringList>

namespace KOZAV::Test {

/// The kind of a flaw as its enumerator is called.
inline QString kindName(Backend::DatabaseFlaw::Kind kind)
{
    switch (kind) {
    case Backend::DatabaseFlaw::Kind::Damaged:
        return QStringLiteral("Damaged");
    case Backend::DatabaseFlaw::Kind::ReferenceBroken:
        return QStringLiteral("ReferenceBroken");
    case Backend::DatabaseFlaw::Kind::SchemaChanged:
        return QStringLiteral("SchemaChanged");
    case Backend::DatabaseFlaw::Kind::NotLookedAt:
        return QStringLiteral("NotLookedAt");
    }
    return {};
}

/// "Kind subject: text" of each flaw.
inline QStringList flawTexts(const Backend::DatabaseFlaws& flaws)
{
    QStringList texts;
    for (const Backend::DatabaseFlaw& flaw : flaws)
        texts << QStringLiteral("%1 %2: %3").arg(kindName(flaw.kind), flaw.subject, flaw.text);
    return texts;
}

/// What an examination finds wrong, a line each, or why there is none; empty where all is whole. What the
/// account may not look at is left out.
inline QString flawsOf(const Backend::Database& database)
{
    const auto flaws = database.examine();
    if (!flaws.ok())
        return flaws.message();
    QStringList texts = flawTexts(flaws.value());
    texts = texts.filter(QRegularExpression(QStringLiteral("^(?!NotLookedAt)")));
    return texts.join(QLatin1Char('\n'));
}

} // namespace KOZAV::Test
