#pragma once

#include <QHash>
#include <QTranslator>

namespace KOZAV::Test {

/// Translates the texts it is told, each in its context, and so shows which texts are offered for
/// translation, and in which context. Installed for its lifetime.
class MarkingTranslator final : public QTranslator
{
    Q_OBJECT
public:
    MarkingTranslator();
    ~MarkingTranslator() override;

    /// The text in this context becomes the translation.
    void set(const QString& context, const QString& text, const QString& translation);

    [[nodiscard]] bool isEmpty() const override { return false; }
    [[nodiscard]] QString translate(const char* context, const char* sourceText, const char* disambiguation,
                                    int n) const override;

private:
    QHash<QString, QString> m_translations;
};

} // namespace KOZAV::Test
