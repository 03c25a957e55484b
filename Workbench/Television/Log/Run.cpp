#include "Television/Log/Run.h"

#include <algorithm>

#include "Cli/Text.h"
#include "Manager/CCloudServerManager.h"
#include "Television/Log/Line.h"
#include "Television/Log/Table.h"

namespace Log {

void Add(Words& words, const std::string& more) {
    if (!more.empty() && std::find(words.begin(), words.end(), more) == words.end()) {
        words.push_back(more);
    }
}

Words Request::AnswerWords() const {
    Words answer;
    Add(answer, status ? "status " + std::to_string(*status) : "");
    Add(answer, IsRefused() ? code : "");
    Add(answer, IsRefused() ? words : "");
    return answer;
}

std::optional<Run::Kind> RequestOf(Step step) {
    const auto isIn = [step](Step ask) { return step == ask || step == Next(ask); };
    return isIn(Step::ASK_TOKEN)        ? std::optional(Run::TOKEN)
           : isIn(Step::ASK_ACTIVATION) ? std::optional(Run::ACTIVATION)
           : isIn(Step::ASK_APP)        ? std::optional(Run::APP)
           : isIn(Step::ASK_DOWNLOAD)   ? std::optional(Run::DOWNLOAD)
                                        : std::nullopt;
}

bool Run::Shows(char priority) const {
    return level != '\0' && !IsBelow(priority, level);
}

void StepLines::Add(const std::string& line) {
    constexpr std::size_t MOST_BYTES = 65536;
    ++count;
    if (text.size() < MOST_BYTES) {
        text += line + "\n";
    } else {
        ++leftOut;
    }
}

bool Run::FailedIn(Step first, Step last) const {
    return failure && failure->step && *failure->step >= first && *failure->step <= last;
}

bool Run::IsWaiting() const {
    return FailedIn(Step::CODE, Step::CODE) && failure->known != nullptr &&
           failure->known->kind == KnownLine::Kind::FAILURE && !sawEnd;
}

bool Run::HasAllBefore(Step before, char priority) const {
    return sawStart && reached > before && (priority == 'E' || Shows(priority));
}

bool Run::IsUnlocated() const {
    return failure && !failure->step;
}

bool Request::IsDropped() const {
    return code == std::to_string(CCloudServerManager::RESULT_MARK_TOO_OLD) ||
           code == std::to_string(CCloudServerManager::RESULT_MARK_UNKNOWN);
}

bool Run::IsOfStoring() const {
    return failure && failure->known != nullptr && failure->known->kind == KnownLine::Kind::NOT_STORED;
}

std::string Fault::Meaning() const {
    if (known == nullptr && text.empty()) {
        return "";
    }
    const std::string meaning(known == nullptr ? "an error that is not known here" : known->meaning);
    return text.empty() ? meaning : meaning + " (" + text + ")";
}

Run::Source Run::TokenSource() const {
    const bool isMissing = !missing.empty() && Cli::StartsWith(missing.front(), "the access tokens");
    return source != Run::Source::NOT_TOLD                                     ? source
           : isMissing && reached > Step::TOKEN                                ? Run::Source::NEW
           : reached >= Step::ASK_ACTIVATION && HasAllBefore(Step::TOKEN, 'W') ? Run::Source::STORED
                                                                               : Run::Source::NOT_TOLD;
}

}  // namespace Log
