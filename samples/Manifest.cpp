#include "samples/Manifest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>

namespace KOZAV::Samples {

namespace {

QString pick(const std::array<const char*, 4>& texts, Random& random)
{
    return QString::fromUtf8(texts.at(random.below(4)));
}

QJsonObject jsonOf(const ManifestTexts& texts)
{
    return {{QStringLiteral("resource"), texts.resource},
            {QStringLiteral("customer2"), texts.customer2},
            {QStringLiteral("customer3"), texts.customer3}};
}

QJsonObject wrongTypes()
{
    return {{QStringLiteral("resource"), 5},
            {QStringLiteral("customer2"), QJsonArray{QStringLiteral("a"), QStringLiteral("b")}},
            {QStringLiteral("customer3"), QJsonValue::Null}};
}

} // namespace

QString manifestKindName(ManifestKind kind)
{
    switch (kind) {
    case ManifestKind::None:
        return QStringLiteral("none");
    case ManifestKind::Good:
        return QStringLiteral("good");
    case ManifestKind::Partial:
        return QStringLiteral("partial");
    case ManifestKind::WrongTypes:
        return QStringLiteral("wrong-types");
    case ManifestKind::Broken:
        return QStringLiteral("broken");
    }
    return {};
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
    switch (kind) {
    case ManifestKind::None:
        return {};
    case ManifestKind::Good: {
        QJsonObject members = jsonOf(texts);
        members.insert(QStringLiteral("priority"), 2);
        return QJsonDocument(members).toJson();
    }
    case ManifestKind::Partial:
        return QJsonDocument(QJsonObject{{QStringLiteral("customer3"), texts.customer3}}).toJson();
    case ManifestKind::WrongTypes:
        return QJsonDocument(wrongTypes()).toJson();
    case ManifestKind::Broken:
        return "{\n    \"resource\": \"FTP\",\n    \"customer2\": \n";
    }
    return {};
}

} // namespace KOZAV::Samples
