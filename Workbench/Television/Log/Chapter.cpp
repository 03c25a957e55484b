#include "Television/Log/Chapter.h"

#include <algorithm>

#include "Cli/Json.h"
#include "Television/Log/Clock.h"

namespace Log {

namespace {

/** In the order of Part. */
constexpr const char* NAMES[] = {"start",      "sign-in", "stored",   "token",
                                 "activation", "app",     "download", "list"};

/** In the order of Step. */
constexpr Arrow ARROWS[] = {
    {Part::START, TELEVISION, SERVICE, "start"},
    {Part::SIGN_IN, TELEVISION, SERVICE, "sign-in"},
    {Part::STORED, TELEVISION, SERVICE, "what is stored"},
    {Part::TOKEN, SERVICE, SERVICE, "token"},
    {Part::TOKEN, SERVICE, TELEVISION, "authorisation code?"},
    {Part::TOKEN, TELEVISION, SERVICE, "authorisation code"},
    {Part::TOKEN, SERVICE, AUTHORISATION_SERVER, "token?"},
    {Part::TOKEN, AUTHORISATION_SERVER, SERVICE, "token"},
    {Part::ACTIVATION, SERVICE, CLOUD, "activation"},
    {Part::ACTIVATION, CLOUD, SERVICE, "activation"},
    {Part::APP, SERVICE, CLOUD, "app token"},
    {Part::APP, CLOUD, SERVICE, "app token"},
    {Part::DOWNLOAD, SERVICE, CLOUD, "download"},
    {Part::DOWNLOAD, CLOUD, SERVICE, "records"},
    {Part::LIST, SERVICE, TELEVISION, "device list"},
    {Part::LIST, SERVICE, SERVICE, "end"},
};

}  // namespace

const char* NameOf(Part part) {
    return NAMES[static_cast<std::size_t>(part)];
}

const Arrow& ArrowOf(Step step) {
    return ARROWS[static_cast<std::size_t>(step)];
}

Step FirstOf(Part part) {
    const auto isBefore = [part](const Arrow& arrow) { return arrow.part < part; };
    return static_cast<Step>(std::count_if(std::begin(ARROWS), std::end(ARROWS), isBefore));
}

Step LastOf(Part part) {
    const auto isAfter = [part](const Arrow& arrow) { return arrow.part > part; };
    return static_cast<Step>(std::size(ARROWS) - 1 -
                             std::count_if(std::begin(ARROWS), std::end(ARROWS), isAfter));
}

std::optional<Part> RequestOf(Step step) {
    const Arrow& arrow = ArrowOf(step);
    return std::max(arrow.from, arrow.to) >= AUTHORISATION_SERVER ? std::optional(arrow.part) : std::nullopt;
}

bool IsAnswer(Step step) {
    return ArrowOf(step).from >= AUTHORISATION_SERVER;
}

void Add(Statements& words, const std::string& more) {
    if (!more.empty() && std::find(words.begin(), words.end(), more) == words.end()) {
        words.push_back(more);
    }
}

void Chapter::Say(About about, const std::string& words) {
    if (words.empty()) {
        return;
    }
    if (about != About::ALSO) {
        told.erase(about);
    }
    told.emplace(about, words);
}

void Chapter::SayTime(About about, const char* what, const Moment& time) {
    if (time) {
        Say(about, what + SecondsText(*time));
    }
}

std::string Chapter::Said(About about) const {
    const auto found = told.find(about);
    return found == told.end() ? "" : found->second;
}

Json::Value Chapter::ToJson() const {
    constexpr const char* SIGNS[] = {"unknown", "fine", "fault"};
    Json::Value json;
    json["sign"] = SIGNS[static_cast<std::size_t>(sign)];
    json["told"] = Cli::JsonArray(told, [](const auto& one) { return Json::Value(one.second); });
    json["not_told"] = Cli::JsonArray(untold);
    return json;
}

}  // namespace Log
