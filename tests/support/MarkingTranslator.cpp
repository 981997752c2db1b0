#include "tests/support/MarkingTranslator.h"

#include <QCoreApplication>

namespace KOZAV::Test {

namespace {

QString keyOf(const QString& context, const QString& text)
{
    return context + QLatin1Char('\n') + text;
}

} // namespace

MarkingTranslator::MarkingTranslator()
{
    QCoreApplication::installTranslator(this);
}

MarkingTranslator::~MarkingTranslator()
{
    QCoreApplication::removeTranslator(this);
}

void MarkingTranslator::set(const QString& context, const QString& text, const QString& translation)
{
    m_translations.insert(keyOf(context, text), translation);
}

QString MarkingTranslator::translate(const char* context, const char* sourceText, const char* disambiguation,
                                     int n) const
{
    Q_UNUSED(disambiguation)
    Q_UNUSED(n)
    return m_translations.value(keyOf(QString::fromUtf8(context), QString::fromUtf8(sourceText)));
}

} // namespace KOZAV::Test
