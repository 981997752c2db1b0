// The manifest of a job folder: an input is its bytes.

#include "backend/Text.h"
#include "import/JobManifest.h"
#include "tests/fuzz/FuzzTarget.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <array>

namespace KOZAV::Test {

namespace {

using Import::JobManifest;
using Import::parseManifest;

struct Field
{
    const char* key;
    std::optional<QString> JobManifest::*value;
};

constexpr std::array<Field, 3> fields = {{{"resource", &JobManifest::resource},
                                          {"customer2", &JobManifest::customer2},
                                          {"customer3", &JobManifest::customer3}}};

bool isEmpty(const JobManifest& manifest)
{
    return !manifest.resource && !manifest.customer2 && !manifest.customer3;
}

/// Each text is in the document under its own key; a key whose value is none gives nothing.
QString contentViolation(const JobManifest& manifest, const QJsonObject& object)
{
    for (const Field& field : fields) {
        const QJsonValue value = object.value(QLatin1String(field.key));
        const auto& text = manifest.*field.value;
        if (text.has_value() != value.isString() || (text && *text != value.toString()))
            return QStringLiteral("%1 is '%2'").arg(QLatin1String(field.key), text.value_or(QString()));
        if (text && !Backend::isValidUtf8(text->toStdString()))
            return QStringLiteral("%1 cannot be stored").arg(QLatin1String(field.key));
    }
    return {};
}

/// The same document written in another way, and with more members, says the same. Half a character is
/// written as some other one.
QString rewritingViolation(const JobManifest& manifest, QJsonObject object)
{
    object.insert(QStringLiteral("Resource"), QStringLiteral("other case"));
    object.insert(QStringLiteral("more"),
                  QJsonObject{{QStringLiteral("resource"), QStringLiteral("deeper")}});
    for (const auto format : {QJsonDocument::Compact, QJsonDocument::Indented}) {
        const JobManifest again = parseManifest(QJsonDocument(object).toJson(format));
        for (const Field& field : fields) {
            const auto& before = manifest.*field.value;
            const auto& after = again.*field.value;
            if (before.has_value() != after.has_value() ||
                (before && before->isValidUtf16() && *before != *after))
                return QStringLiteral("written again, %1 is '%2' instead of '%3'")
                    .arg(QLatin1String(field.key), after.value_or(QString()), before.value_or(QString()));
        }
    }
    return {};
}

/// Of a key that begins with a mark of UTF-8, Qt keeps the mark when it is read, and drops it when it is
/// written and read again.
bool mayHaveMarkedKey(const QByteArray& input)
{
    return input.lastIndexOf("\xef\xbb\xbf") > 0 || input.toLower().contains("\\ufeff");
}

FuzzVerdict check(const QByteArray& input)
{
    const JobManifest manifest = parseManifest(input);
    const QJsonDocument document = QJsonDocument::fromJson(input);
    if (!document.isObject()) {
        const bool broken = document.isNull();
        return {isEmpty(manifest) ? QString() : QStringLiteral("something is read where there is no object"),
                broken ? "broken" : "no object"};
    }
    QString violation = contentViolation(manifest, document.object());
    if (violation.isEmpty() && !mayHaveMarkedKey(input))
        violation = rewritingViolation(manifest, document.object());
    return {violation, isEmpty(manifest) ? "nothing" : "texts"};
}

const RegisteredFuzzTarget registered({"manifest",
                                       check,
                                       {"\"resource\":",
                                        "\"customer2\":",
                                        "\"customer3\":",
                                        "{",
                                        "}",
                                        "[",
                                        "]",
                                        "\"",
                                        ",",
                                        ":",
                                        "\"\"",
                                        "null",
                                        "5",
                                        "true",
                                        "\\ud83d",
                                        "\\u0000",
                                        "\xef\xbb\xbf",
                                        "\xe7\x94\xb2",
                                        "\xff",
                                        "{\"resource\":\"a\"}"},
                                       {"broken", "no object", "nothing", "texts"},
                                       50'000});

} // namespace

} // namespace KOZAV::Test
