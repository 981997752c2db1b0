// The source of every text is English. Its catalogue holds only the plural forms; that of another language
// holds everything. Both lie in the program itself. Qt's own texts come from the catalogues that are
// installed with Qt; where these are missing, its dialogs are English.

#include "host/Language.h"

#include "host/ClientState.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>

#include <algorithm>

/// The library is linked statically: what nobody names is not there. The name is of no namespace.
static void bringInCatalogues()
{
    Q_INIT_RESOURCE(zav_client_translations);
}

namespace KOZAV::Host {

namespace {

constexpr const char* const english = "en";
constexpr const char* const chinese = "zh_CN";
constexpr const char* const choiceKey = "language";

bool isOffered(const QString& code)
{
    const auto offers = offeredLanguages();
    return std::any_of(offers.begin(), offers.end(),
                       [&code](const OfferedLanguage& offer) { return offer.code == code; });
}

} // namespace

std::vector<OfferedLanguage> offeredLanguages()
{
    const QString zh = QString::fromLatin1(chinese);
    return {{zh, QLocale(zh).nativeLanguageName()},
            {QString::fromLatin1(english), QStringLiteral("English")}};
}

QString languageOfLocale(const QString& uiLanguage)
{
    const QString name = uiLanguage.isEmpty() ? QLocale::system().uiLanguages().value(0) : uiLanguage;
    return QString::fromLatin1(QLocale(name).language() == QLocale::Chinese ? chinese : english);
}

QString chosenLanguage()
{
    const QString code = ClientState::general().value(QString::fromLatin1(choiceKey)).toString();
    return isOffered(code) ? code : QString();
}

void chooseLanguage(const QString& code)
{
    ClientState state = ClientState::general();
    if (code.isEmpty())
        state.remove(QString::fromLatin1(choiceKey));
    else
        state.setValue(QString::fromLatin1(choiceKey), code);
}

Language::Language(const QString& code)
    : m_code(isOffered(code) ? code : QString::fromLatin1(english))
{
    bringInCatalogues();
    const QLocale locale(m_code);
    QLocale::setDefault(QLocale::system().language() == locale.language() ? QLocale::system() : locale);
    if (m_code != QLatin1String(english) &&
        m_qt.load(QStringLiteral("qtbase_") + m_code, QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&m_qt);
    if (m_client.load(QStringLiteral(":/translations/zav_client_%1.qm").arg(m_code)))
        QCoreApplication::installTranslator(&m_client);
}

Language::~Language()
{
    QCoreApplication::removeTranslator(&m_client);
    QCoreApplication::removeTranslator(&m_qt);
    QLocale::setDefault(QLocale::system());
}

} // namespace KOZAV::Host
