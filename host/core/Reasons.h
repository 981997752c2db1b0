#pragma once

#include "backend/HostInterface.h"

#include <QLatin1String>
#include <QString>

#include <vector>

namespace KOZAV::Host {

/// Where a code is used, and what it says of an entry.
enum class CodeUse {
    Remark,  ///< of an entry or of a run, beside its result
    Reason,  ///< why an entry was not imported, or that is not known: it was tried
    Refusal, ///< why an entry is not imported, by a rule that holds before anything is tried
    LeftOut  ///< why an entry was left out, as was asked for; a remark as well
};

/// What a code means, in English. Codes are for programs that read reports: one that was given stays.
struct CodeMeaning
{
    QLatin1String code;
    CodeUse use;
    const char* meaning; ///< a sentence
    const char* advice;  ///< what to do; empty where there is nothing to do
};

/// All codes of reasons and remarks; docs/outcomes.md lists the same.
const std::vector<CodeMeaning>& codeMeanings();

/// What a reason or a remark of that code means, in the operator's language; empty for no code, and for one
/// that this program does not know, such as of a newer one.
QString reasonText(const QString& code);
/// What is to be done then, in the operator's language; may be empty.
QString reasonAdvice(const QString& code);
/// Whether an entry is not imported for that reason without anything being tried.
bool isRefusal(const QString& code);

/// The code of a call that did not succeed.
/// @param rowsAreEmbedded  whether the site's rows are a file, not on a server
QString reasonCodeOf(const Backend::OperationEvent& event, bool rowsAreEmbedded);

} // namespace KOZAV::Host
