#pragma once

#include <QString>
#include <QTranslator>

#include <vector>

namespace KOZAV::Host {

/// A language that the client's own texts can be had in.
struct OfferedLanguage
{
    QString code; ///< as "zh_CN"
    QString name; ///< in that language itself
};

[[nodiscard]] std::vector<OfferedLanguage> offeredLanguages();

/// The code of the language that a locale gets: Chinese for a Chinese one, else English.
/// @param uiLanguage  as "zh-Hans-CN" or "de_DE"; empty: the first that the system's locale names
[[nodiscard]] QString languageOfLocale(const QString& uiLanguage = {});

/// What the user has chosen, remembered for the next start: a code of those offered, or empty for "as the
/// locale".
[[nodiscard]] QString chosenLanguage();
void chooseLanguage(const QString& code);

/// The texts of the client and of Qt's own dialogs in one language, from its construction to its destruction.
/// Widgets that are there already keep theirs. The panels' texts are no matter of this.
///
/// Numbers and dates follow: QLocale() becomes the system's where that speaks the language, else the
/// language's.
class Language final
{
public:
    /// @param code  one of those offered; another is taken for English
    explicit Language(const QString& code);
    ~Language();
    Q_DISABLE_COPY_MOVE(Language)

    [[nodiscard]] const QString& code() const { return m_code; }

private:
    QString m_code;
    QTranslator m_qt; ///< Qt's own texts: buttons, file dialogs
    QTranslator m_client;
};

} // namespace KOZAV::Host
