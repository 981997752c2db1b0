// The configuration file: an input is its bytes.

#include "backend/config/IniDocument.h"
#include "backend/config/SettingRules.h"
#include "backend/config/Settings.h"
#include "tests/fuzz/FuzzTarget.h"

#include <QDir>
#include <QRegularExpression>

#include <algorithm>

namespace KOZAV::Test {

namespace {

using Backend::IniDocument;
using Backend::SettingRule;
using Backend::Settings;

/// A failure names a line of the file.
bool namesALine(const QString& message, const QByteArray& bytes)
{
    static const QRegularExpression form(QStringLiteral("^line (\\d+): ."),
                                         QRegularExpression::DotMatchesEverythingOption);
    const int line = form.match(message).captured(1).toInt();
    return line >= 1 && line <= bytes.count('\n') + 1;
}

const IniDocument::Entry* find(const IniDocument& document, const QString& key)
{
    const auto& entries = document.entries();
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&key](const auto& entry) { return entry.key == key; });
    return found == entries.end() ? nullptr : &*found;
}

/// With another value for the key, the file says that, and of all other keys what it said before.
QString changeViolation(IniDocument document, const QString& key, const QString& value)
{
    const std::vector<IniDocument::Entry> before = document.entries();
    document.setValue(key, value);
    const auto after = IniDocument::parse(document.toBytes());
    if (!after.ok())
        return QStringLiteral("with %1 = '%2' it cannot be read: %3").arg(key, value, after.message());
    const auto* changed = find(after.value(), key);
    if (changed == nullptr || changed->value != value)
        return QStringLiteral("%1 is set to '%2' and read as '%3'")
            .arg(key, value, changed ? changed->value : QString());
    for (const IniDocument::Entry& entry : before) {
        const auto* kept = find(after.value(), entry.key);
        if (entry.key != key && (kept == nullptr || kept->value != entry.value))
            return QStringLiteral("with %1 set, %2 changes").arg(key, entry.key);
    }
    return {};
}

/// Lines are kept, but for a mark of UTF-8 before them, keys stand once and in order, and each value can be
/// set where a rule has its key.
QString documentViolation(const IniDocument& document, const QByteArray& bytes)
{
    const QByteArray mark("\xef\xbb\xbf");
    if (document.toBytes() != (bytes.startsWith(mark) ? bytes.mid(mark.size()) : bytes))
        return QStringLiteral("lines are not kept");
    int line = 0;
    for (const IniDocument::Entry& entry : document.entries()) {
        if (entry.line <= line || find(document, entry.key) != &entry)
            return QStringLiteral("%1 is read from line %2").arg(entry.key).arg(entry.line);
        line = entry.line;
    }
    const auto& rules = Backend::settingRules();
    const QString key = QLatin1String(rules[static_cast<unsigned>(bytes.size()) % rules.size()].key);
    const QString value = document.entries().empty() ? QString() : document.entries().back().value;
    return changeViolation(document, key, value);
}

bool inRange(const SettingRule& rule, const Settings& settings)
{
    const QString value = rule.show(settings);
    if (rule.type == Backend::SettingType::Number)
        return value.toInt() >= rule.range.smallest && value.toInt() <= rule.range.largest;
    if (rule.isPath() && !value.isEmpty())
        return QDir::isAbsolutePath(value) &&
               (rule.type == Backend::SettingType::Path || value.endsWith(QLatin1Char('/')));
    return !rule.isNeeded(settings) || !value.isEmpty();
}

/// What was accepted is within its rules, and a file that is written of it says the same.
QString settingsViolation(const Settings& settings, const QString& path)
{
    QString text;
    for (const SettingRule& rule : Backend::settingRules()) {
        const QString key = QLatin1String(rule.key);
        const QString value = rule.show(settings);
        const QString section =
            QLatin1Char('[') + key.section(QLatin1Char('/'), 0, 0) + QStringLiteral("]\n");
        if (!inRange(rule, settings))
            return QStringLiteral("%1 is '%2'").arg(key, value);
        if (!text.contains(section))
            text += section;
        if (!value.isEmpty())
            text += key.section(QLatin1Char('/'), 1) + QLatin1Char('=') + Backend::encodeIniValue(value) +
                    QLatin1Char('\n');
    }
    if (!writeFuzzFile(path, text.toUtf8()))
        return QStringLiteral("the file cannot be written");
    const auto again = Backend::loadSettings(path);
    if (!again.ok())
        return QStringLiteral("written again, it is refused: ") + again.message();
    for (const SettingRule& rule : Backend::settingRules()) {
        if (rule.show(settings) != rule.show(again.value()))
            return QStringLiteral("written again, %1 is '%2' instead of '%3'")
                .arg(QLatin1String(rule.key), rule.show(again.value()), rule.show(settings));
    }
    return {};
}

FuzzVerdict check(const QByteArray& input)
{
    const auto document = IniDocument::parse(input);
    if (!document.ok() && !namesALine(document.message(), input))
        return {QStringLiteral("the message is '%1'").arg(document.message()), "text"};
    const QString violation = document.ok() ? documentViolation(document.value(), input) : QString();
    if (!violation.isEmpty())
        return {violation, "text"};

    const QString path = fuzzFolder() + QStringLiteral("/zav.ini");
    if (!writeFuzzFile(path, input))
        return {QStringLiteral("the file cannot be written"), "text"};
    const auto settings = Backend::loadSettings(path);
    if (settings.ok())
        return {settingsViolation(settings.value(), path), "accepted"};
    const bool told =
        settings.code() == Backend::ErrorCode::Configuration && settings.message().contains(path);
    // A password is told apart from other text only where it stands as one.
    const bool shown = input.count("mongodb://u:s3cret@") == input.count("s3cret") &&
                       settings.message().contains(QLatin1String("s3cret"));
    if (!told || shown)
        return {QStringLiteral("the failure is '%1'").arg(settings.message()), "text"};
    return {{}, document.ok() ? "values" : "text"};
}

const RegisteredFuzzTarget registered({"configuration",
                                       check,
                                       {"[database]\n",
                                        "[document_store]\n",
                                        "driver = QMYSQL\n",
                                        "host = h\n",
                                        "kind = mongodb\n",
                                        "uri = mongodb://u:s3cret@h/\n",
                                        "port = 65536\n",
                                        "allow_plaintext = 1\n",
                                        "=",
                                        "\n",
                                        "\r\n",
                                        ";",
                                        "#",
                                        "[",
                                        "]",
                                        "\"",
                                        "\\",
                                        "\\x1",
                                        "\\xe9",
                                        "\\n",
                                        ",",
                                        " ",
                                        "/",
                                        "..",
                                        "\xe7\x94\xb2",
                                        "\xff",
                                        "\xef\xbb\xbf",
                                        "\xe2\x80\xa8",
                                        QByteArray(1, '\0')},
                                       {"text", "values", "accepted"},
                                       10'000});

} // namespace

} // namespace KOZAV::Test
