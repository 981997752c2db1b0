// The catalogues of the client's texts, as they lie in the sources: nothing is missing or left over, and each
// translation has what its text has. And the client's sources: what a person reads goes through the
// catalogues.

#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <vector>

namespace {

const QString sources = QStringLiteral(ZAV_SOURCE_DIR);
const QString chineseCatalogue = QStringLiteral("zav_client_zh_CN.ts");
const QString englishCatalogue = QStringLiteral("zav_client_en.ts");

struct Message
{
    QString context;
    QString source;
    QString state; ///< empty: finished, and its text is in the sources
    QStringList translations;
    bool hasForms = false;
};

QString described(const Message& message)
{
    return message.context + QStringLiteral(": \"") + message.source + QLatin1Char('"');
}

void readTranslation(QXmlStreamReader& xml, Message& message)
{
    message.state = xml.attributes().value(QLatin1String("type")).toString();
    if (!message.hasForms) {
        message.translations << xml.readElementText();
        return;
    }
    while (xml.readNextStartElement())
        message.translations << xml.readElementText();
}

Message readMessage(QXmlStreamReader& xml, const QString& context)
{
    Message message;
    message.context = context;
    message.hasForms = xml.attributes().value(QLatin1String("numerus")) == QLatin1String("yes");
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("source"))
            message.source = xml.readElementText();
        else if (xml.name() == QLatin1String("translation"))
            readTranslation(xml, message);
        else
            xml.skipCurrentElement();
    }
    return message;
}

std::vector<Message> readCatalogue(const QString& path)
{
    std::vector<Message> messages;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return messages;
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("name"))
            context = xml.readElementText();
        else if (xml.name() == QLatin1String("message"))
            messages.push_back(readMessage(xml, context));
    }
    return xml.hasError() ? std::vector<Message>() : messages;
}

/// The catalogue as it is once the sources' texts are read into a copy: what is new is "unfinished", what has
/// left the sources "vanished".
std::vector<Message> updatedCatalogue(const QString& name)
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(name);
    QStringList arguments = QStringLiteral(ZAV_LUPDATE_OPTIONS).split(QLatin1Char('|'));
    if (name == englishCatalogue)
        arguments << QStringLiteral("-pluralonly");
    arguments << sources + QStringLiteral("/host") << QStringLiteral("-ts") << copy;
    if (!QFile::copy(sources + QStringLiteral("/host/translations/") + name, copy) ||
        QProcess::execute(QStringLiteral(ZAV_LUPDATE), arguments) != 0)
        return {};
    return readCatalogue(copy);
}

QStringList found(const QString& text, const QRegularExpression& pattern)
{
    QStringList all;
    for (auto matches = pattern.globalMatch(text); matches.hasNext();)
        all << matches.next().captured();
    all.sort();
    return all;
}

QString flaw(const Message& message)
{
    static const QRegularExpression placeholder(QStringLiteral("%(L?[0-9]{1,2}|L?n)"));
    static const QRegularExpression mnemonic(QStringLiteral("&(?![a-z]+;)[A-Za-z0-9]"));
    if (!message.state.isEmpty())
        return message.state;
    for (const QString& translation : message.translations) {
        if (translation.trimmed().isEmpty())
            return QStringLiteral("empty");
        if (found(translation, placeholder) != found(message.source, placeholder))
            return QStringLiteral("other placeholders: ") + translation;
        if (found(translation, mnemonic).size() != found(message.source, mnemonic).size())
            return QStringLiteral("other mnemonics: ") + translation;
        if (translation.count(QLatin1Char('\n')) != message.source.count(QLatin1Char('\n')))
            return QStringLiteral("other lines: ") + translation;
    }
    return message.translations.isEmpty() ? QStringLiteral("empty") : QString();
}

struct SourceLine
{
    QString place;
    QString code; ///< without its comment
};

/// Lines of the client's sources, or those of a room of the panels.
std::vector<SourceLine> linesOf(const QString& room)
{
    static const QRegularExpression comment(QStringLiteral("(^|\\s)//.*$"));
    std::vector<SourceLine> lines;
    QDirIterator files(sources + QLatin1Char('/') + room, {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                       QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QStringList texts = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        for (int number = 0; number < texts.size(); ++number)
            lines.push_back({QStringLiteral("%1:%2").arg(file.fileName()).arg(number + 1),
                             QString(texts[number]).remove(comment)});
    }
    return lines;
}

QStringList chineseLiterals(const QString& code)
{
    static const QRegularExpression literal(QStringLiteral("\"(?:[^\"\\\\]|\\\\.)*\""));
    // Ideographs, and the punctuation between them.
    static const QRegularExpression chinese(QStringLiteral("[\\x{3000}-\\x{303f}\\x{4e00}-\\x{9fff}"
                                                           "\\x{ff01}\\x{ff08}\\x{ff09}\\x{ff0c}"
                                                           "\\x{ff1a}\\x{ff1b}\\x{ff1f}]"));
    return found(code, literal).filter(chinese);
}

} // namespace

class HostTranslations : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyTextIsTranslated_data();
    void everyTextIsTranslated();
    void englishHasPluralForms();
    void flawsAreSeen();
    void chineseIsOfThePanels();
    void shownTextsAreTranslatable();
};

void HostTranslations::everyTextIsTranslated_data()
{
    QTest::addColumn<QString>("catalogue");
    QTest::newRow("Chinese") << chineseCatalogue;
    QTest::newRow("English") << englishCatalogue;
}

void HostTranslations::everyTextIsTranslated()
{
    QFETCH(QString, catalogue);
    const auto messages = updatedCatalogue(catalogue);
    QVERIFY(!messages.empty());
    QStringList flaws;
    for (const Message& message : messages) {
        if (const QString what = flaw(message); !what.isEmpty())
            flaws << described(message) + QStringLiteral(": ") + what;
    }
    QVERIFY2(flaws.isEmpty(), qPrintable(flaws.join(QLatin1Char('\n'))));
}

void HostTranslations::englishHasPluralForms()
{
    for (const Message& message :
         readCatalogue(sources + QStringLiteral("/host/translations/zav_client_en.ts"))) {
        QVERIFY2(message.translations.size() == 2, qPrintable(described(message)));
        for (const QString& form : message.translations)
            QVERIFY2(!form.contains(QRegularExpression(QStringLiteral("\\w\\([a-z|]+\\)"))),
                     qPrintable(form));
    }
}

void HostTranslations::flawsAreSeen()
{
    const auto message = [](const char* source, const char* translation, const char* state = "") {
        return Message{QString(),
                       QString::fromUtf8(source),
                       QString::fromUtf8(state),
                       {QString::fromUtf8(translation)},
                       false};
    };
    QCOMPARE(flaw(message("&Open %1 of %n", "%n 中的 %1(&O)")), QString());
    QCOMPARE(flaw(message("&lt;b&gt;", "&lt;b&gt;")), QString());
    QVERIFY(!flaw(message("&Open", "打开")).isEmpty());
    QVERIFY(!flaw(message("%1 of %2", "%1")).isEmpty());
    QVERIFY(!flaw(message("Open", "")).isEmpty());
    QVERIFY(!flaw(message("Open", "打开", "unfinished")).isEmpty());
    QVERIFY(!flaw(message("Open", "打开", "vanished")).isEmpty());
    QCOMPARE(chineseLiterals(QStringLiteral("f(\"a\", \"打开\\\"\", \"：\");")).size(), 2);
}

/// The client finds the panels' widgets and boxes by their texts, and has no other Chinese in its sources.
void HostTranslations::chineseIsOfThePanels()
{
    QStringList panels;
    for (const char* const room : {"ui", "import"}) {
        for (const SourceLine& line : linesOf(QString::fromLatin1(room)))
            panels << chineseLiterals(line.code);
    }
    QVERIFY(!panels.isEmpty());
    const auto client = linesOf(QStringLiteral("host"));
    QVERIFY(!client.empty());
    for (const SourceLine& line : client) {
        for (const QString& literal : chineseLiterals(line.code))
            QVERIFY2(panels.contains(literal), qPrintable(line.place + QStringLiteral(": ") + literal));
    }
}

/// A word without capitals may be a value, such as the name of a database.
void HostTranslations::shownTextsAreTranslatable()
{
    static const QRegularExpression untranslated(QStringLiteral(
        "\\b(setText|setTitle|setWindowTitle|setToolTip|setWhatsThis|setStatusTip|setPlaceholderText|"
        "setAccessibleName|setAccessibleDescription|addAction|addMenu|addTab|addRow|showMessage|"
        "new (QLabel|QPushButton|QToolButton|QCheckBox|QRadioButton|QGroupBox|QAction))\\("
        "(QStringLiteral|QString::from\\w+|QLatin1String)\\(\"(?=[^\"]*[A-Z ])[^\"]*[A-Za-z]{2}"));
    QVERIFY(untranslated.match(QStringLiteral("box->setText(QStringLiteral(\"Open\"));")).hasMatch());
    for (const SourceLine& line : linesOf(QStringLiteral("host")))
        QVERIFY2(!untranslated.match(line.code).hasMatch(), qPrintable(line.place + line.code));
}

ZAV_REGISTER_TEST(host_translations, HostTranslations, QCoreApplication)

#include "host_translations.moc"
