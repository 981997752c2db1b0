#include "samples/Manifest.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <array>

namespace KOZAV::Samples {

namespace {

QString pick(const std::array<const char*, 4>& texts, Random& random)
{
    return QString::fromUtf8(texts.at(random.below(4)));
}

} // namespace

QString manifestKindName(ManifestKind kind)
{
    static constexpr std::array<const char*, 5> kNames{{"none", "good", "partial", "wrong-types", "broken"}};
    return QString::fromLatin1(kNames.at(static_cast<std::size_t>(kind)));
}

ManifestTexts manifestTexts(ManifestKind kind, Random random)
{
    static constexpr std::array<const char*, 4> kResources{{"邮件", "FTP", "customer portal", "客户门户"}};
    static constexpr std::array<const char*, 4> kCustomers{
        {"华东办事处", "Vertrieb Süd", "west coast", "代理商 甲"}};
    ManifestTexts texts;
    if (kind == ManifestKind::Good) {
        texts.resource = pick(kResources, random);
        texts.customer2 = pick(kCustomers, random);
    }
    if (kind == ManifestKind::Good || kind == ManifestKind::Partial)
        texts.customer3 = QStringLiteral("%1 %2").arg(pick(kCustomers, random)).arg(random.between(100, 999));
    return texts;
}

QByteArray manifestFile(ManifestKind kind, const ManifestTexts& texts)
{
    if (kind == ManifestKind::WrongTypes)
        return "{\n    \"resource\": 5,\n    \"customer2\": [\"a\", \"b\"],\n    \"customer3\": null\n}\n";
    if (kind == ManifestKind::Broken)
        return "{\n    \"resource\": \"FTP\",\n    \"customer2\": \n";
    QJsonObject members{{QStringLiteral("customer3"), texts.customer3}};
    if (kind == ManifestKind::Good) {
        members.insert(QStringLiteral("resource"), texts.resource);
        members.insert(QStringLiteral("customer2"), texts.customer2);
        members.insert(QStringLiteral("priority"), 2);
    }
    return QJsonDocument(members).toJson();
}

} // namespace KOZAV::Samples
