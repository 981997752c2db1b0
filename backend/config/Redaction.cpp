// A password that is not written as a URI asks for has no certain end: it may hold "/", "@", ":" or blanks,
// the scheme may lack a slash, and the marks of a URI may be percent-encoded. So whatever could belong to it
// counts as it: from the first colon behind the scheme to the last "@" of the line. That a message sometimes
// loses a word by that is the lesser evil; of a URI without a password nothing is lost, since no "@" follows
// a colon.

#include "backend/config/Redaction.h"

#include <QRegularExpression>

#include <algorithm>
#include <vector>

namespace KOZAV::Backend {

namespace {

const QLatin1String mask("***");

/// Part of a text.
struct Span
{
    int begin;
    int end;
};

QRegularExpression ignoringCase(const char* pattern)
{
    return QRegularExpression(QLatin1String(pattern), QRegularExpression::CaseInsensitiveOption);
}

/// The scheme of a MongoDB URI with what follows it up to the login, also where a colon or slashes are
/// missing.
const QRegularExpression& mongoScheme()
{
    static const QRegularExpression pattern =
        ignoringCase(R"(mongodb(?:\+srv)?(?:(?::|%3A)(?:(?:[/\\]|%2F)++|(?=\S))|[/\\]++))");
    return pattern;
}

/// "scheme://user:password@" of any other URI; its parts are those of a well-formed one.
const QRegularExpression& otherLogin()
{
    static const QRegularExpression pattern = ignoringCase(R"(://[^:/@\s]*:([^/\s]*)@)");
    return pattern;
}

/// Options of a URI that are secrets themselves.
const QRegularExpression& secretOption()
{
    static const QRegularExpression pattern =
        ignoringCase(R"((?:[?&;][^=&?\s]*(?:password|pwd)=([^&\r\n]*)|AWS_SESSION_TOKEN:([^,&\r\n]*)))");
    return pattern;
}

/// The secret between the colon behind the user, who may be none, and the last "@" of the text from begin to
/// end; empty where there is none.
Span passwordIn(const QString& text, Span login)
{
    static const QRegularExpression colonMark = ignoringCase(":|%3A");
    static const QRegularExpression encodedAt = ignoringCase("%40(?!.*%40)");
    const QString part = text.mid(login.begin, login.end - login.begin);
    const QRegularExpressionMatch colon = colonMark.match(part);
    if (!colon.hasMatch())
        return {0, 0};
    int at = part.lastIndexOf(QLatin1Char('@'));
    if (at < colon.capturedEnd())
        at = part.indexOf(encodedAt, colon.capturedEnd());
    return at < colon.capturedEnd() ? Span{0, 0} : Span{login.begin + colon.capturedEnd(), login.begin + at};
}

void findLogins(const QString& text, Span line, std::vector<Span>& secrets)
{
    std::vector<Span> schemes;
    auto matches = mongoScheme().globalMatch(text.midRef(line.begin, line.end - line.begin));
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        schemes.push_back({line.begin + match.capturedStart(), line.begin + match.capturedEnd()});
    }
    for (std::size_t each = 0; each < schemes.size(); ++each) {
        const int end = each + 1 < schemes.size() ? schemes[each + 1].begin : line.end;
        secrets.push_back(passwordIn(text, {schemes[each].end, end}));
    }
}

void findCaptures(const QString& text, const QRegularExpression& pattern, std::vector<Span>& secrets)
{
    auto matches = pattern.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const int group = match.lastCapturedIndex();
        secrets.push_back({match.capturedStart(group), match.capturedEnd(group)});
    }
}

/// What is to be hidden, from the front to the back and without overlaps.
std::vector<Span> secretsIn(const QString& text)
{
    std::vector<Span> found;
    for (int begin = 0; begin < text.size();) {
        const int feed = text.indexOf(QLatin1Char('\n'), begin);
        const int end = feed < 0 ? text.size() : feed;
        findLogins(text, {begin, end}, found);
        begin = end + 1;
    }
    findCaptures(text, otherLogin(), found);
    findCaptures(text, secretOption(), found);
    std::sort(found.begin(), found.end(), [](Span one, Span other) { return one.begin < other.begin; });
    std::vector<Span> secrets;
    for (const Span span : found) {
        const QStringRef hidden = text.midRef(span.begin, span.end - span.begin);
        if (span.end <= span.begin || hidden == mask || hidden.startsWith(QLatin1String("***\"")))
            continue;
        if (!secrets.empty() && span.begin < secrets.back().end)
            secrets.back().end = std::max(secrets.back().end, span.end);
        else
            secrets.push_back(span);
    }
    return secrets;
}

} // namespace

QString withoutPassword(const QString& text)
{
    QString shown = text;
    const std::vector<Span> secrets = secretsIn(text);
    for (auto secret = secrets.rbegin(); secret != secrets.rend(); ++secret)
        shown.replace(secret->begin, secret->end - secret->begin, mask);
    return shown;
}

bool holdsPassword(const QString& text)
{
    return !secretsIn(text).empty();
}

} // namespace KOZAV::Backend
