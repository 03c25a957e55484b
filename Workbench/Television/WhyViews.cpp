#include <algorithm>

#include "Cli/Text.h"
#include "Television/Stored.h"
#include "Television/Why.h"

namespace Television {

namespace {

using Listed = Verdict::Listed;

const char* ListedWord(Listed listed) {
    constexpr const char* WORDS[] = {"listed", "not listed", "listed for others", "not known"};
    return WORDS[static_cast<int>(listed)];
}

std::string VerdictText(const Verdict& verdict, const Cli::Style& style) {
    std::string place;
    for (const std::string& part :
         {verdict.address, "(" + verdict.id + ")", std::string(ListedWord(verdict.listed))}) {
        place += part.empty() ? "" : "  " + Cli::Escape(part);
    }
    const std::size_t used = std::min(Cli::DisplayWidth(place), style.Width() / 2);
    const std::string head = Cli::Shorten(Cli::Escape(verdict.name), style.Width() - used) + place;
    return style(verdict.listed == Listed::YES ? Cli::Colour::GREEN : Cli::Colour::YELLOW, head) + "\n    " +
           Cli::Wrap(Cli::Escape(verdict.words), 4, style.Width());
}

}  // namespace

Json::Value ToJson(const Inquiry& inquiry) {
    Json::Value json;
    json["user"] = inquiry.user.empty() ? Json::Value() : Json::Value(inquiry.user);
    json["mark"] = Json::Int64{inquiry.mark};
    json["stored_at"] = Json::Int64{inquiry.storedAt};
    json["notes"] = ToJson(inquiry.notes);
    json["devices"] = Json::Value(Json::arrayValue);
    for (const Verdict& verdict : inquiry.verdicts) {
        Json::Value device;
        device["user"] = verdict.user;
        device["id"] = verdict.id;
        device["name"] = verdict.name;
        device["address"] = verdict.address;
        device["services"] = ToJson(verdict.services);
        device["listed"] =
            verdict.listed == Listed::UNKNOWN ? Json::Value() : Json::Value(verdict.listed == Listed::YES);
        device["listed_for"] = ToJson(verdict.listedFor);
        device["why"] = verdict.why;
        device["words"] = verdict.words;
        json["devices"].append(std::move(device));
    }
    return json;
}

std::string InquiryText(const Inquiry& inquiry, bool byUser, const Cli::Style& style) {
    std::string text;
    for (const std::string& note : inquiry.notes) {
        text += Cli::Wrap(Cli::Escape(note), 0, style.Width());
    }
    const std::string* last = nullptr;
    for (const Verdict& verdict : inquiry.verdicts) {
        if (byUser && (last == nullptr || *last != verdict.user)) {
            text += (text.empty() ? "" : "\n") + style(Cli::Colour::BOLD, Cli::Escape(verdict.user)) +
                    (verdict.user == inquiry.user ? " (signed in)" : "") + "\n";
        }
        text += VerdictText(verdict, style);
        last = &verdict.user;
    }
    return text;
}

}  // namespace Television
