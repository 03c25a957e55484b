#include "Television/Secrets.h"

#include <glib.h>
#include <json/json.h>
#include <tinyxml2.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <stdexcept>

#include "Cli/Text.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

/** A text that can stand in a header or a form, where the secret stood. */
std::string Replacement(std::size_t length) {
    return "replaced-" + std::to_string(length) + "-characters";
}

template <std::size_t Size>
bool IsOneOf(const char* const (&names)[Size], const std::string& name) {
    return std::find(names, names + Size, name) != names + Size;
}

bool IsHarmless(const std::string& member) {
    constexpr const char* NAMES[] = {"userId", "token_type", "scope", "rmsg", "dvcId", "stat"};
    return IsOneOf(NAMES, member);
}

bool IsSecret(const std::string& member) {
    constexpr const char* NAMES[] = {"access_token", "refresh_token", "accessToken"};
    return IsOneOf(NAMES, member);
}

Json::Value Replaced(const Json::Value& value, const std::string& member);

Json::Value ReplacedMembers(const Json::Value& container) {
    Json::Value replaced(container.type());
    for (auto at = container.begin(); at != container.end(); ++at) {
        if (container.isArray()) {
            replaced.append(Replaced(*at, ""));
        } else {
            replaced[at.name()] = Replaced(*at, at.name());
        }
    }
    return replaced;
}

Json::Value Replaced(const Json::Value& value, const std::string& member) {
    if (value.isObject() || value.isArray()) {
        return ReplacedMembers(value);
    }
    if (IsSecret(member) || (value.isString() && !IsHarmless(member))) {
        return Replacement(value.asString().size());
    }
    return value;
}

/** The sign-in service's document, with nothing but the servers' names left in it. */
std::string ReplacedAuthCode(const std::string& text) {
    constexpr const char* HARMLESS[] = {"kap_auth_domain", "kap_api_domain"};
    tinyxml2::XMLDocument document;
    const tinyxml2::XMLElement* root = nullptr;
    if (document.Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS) {
        root = document.FirstChildElement("rsp");
    }
    if (root == nullptr) {
        throw std::runtime_error("no such document");
    }
    // Written anew rather than changed, so that no attribute or comment comes along.
    constexpr bool COMPACT = true;
    tinyxml2::XMLPrinter printer(nullptr, COMPACT);
    printer.OpenElement("rsp", COMPACT);
    const char* stat = root->Attribute("stat");
    printer.PushAttribute("stat", stat != nullptr ? stat : "");
    for (const auto* child = root->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        const std::string content = child->GetText() != nullptr ? child->GetText() : "";
        printer.OpenElement(child->Name(), COMPACT);
        printer.PushText((IsOneOf(HARMLESS, child->Name()) ? content : Replacement(content.size())).c_str());
        printer.CloseElement(COMPACT);
    }
    printer.CloseElement(COMPACT);
    return printer.CStr();
}

std::string MaskMatch(const GMatchInfo* match) {
    const auto take = [match](int group) {
        const std::unique_ptr<char, decltype(&g_free)> text(g_match_info_fetch(match, group), &g_free);
        return std::string(text.get());
    };
    return take(1) + Cli::Abbreviate(take(2));
}

}  // namespace

std::string WithoutSecrets(const std::string& alias, const std::string& record) {
    if (alias == InfoSyncUtil::ALIAS_RECORDS) {
        return record;
    }
    try {
        return alias == InfoSyncUtil::ALIAS_AUTH_CODE
                   ? ReplacedAuthCode(record)
                   : InfoSyncUtil::WriteJson(ReplacedMembers(InfoSyncUtil::ParseStoredObject(record)));
    } catch (const std::exception&) {
        return Replacement(record.size());
    }
}

std::string MaskLogLine(const std::string& line) {
    // Each form in which the service logs what it sends, receives and stores: a JSON member, a form field, an
    // XML element, a header line, and its own naming of an element and its text.
    constexpr char SECRETS[] =
        "(\"(?:access_token|refresh_token|accessToken|auth_code|code_verifier|Authorization)\"\\s*:\\s*\")([^"
        "\"]+)"
        "|((?:\\b|_)(?:code|code_verifier|refresh_token)=)([^&\\s]+)"
        "|(<(?:auth_code|code_verifier)>)([^<]+)"
        "|((?:\\bBearer|x-kc-access-token\\s*:)\\s*)([^\\s\",]+)"
        "|((?:key|name) ?: ?(?:code|auth_code|code_verifier|refresh_token|x-kc-access-token|Authorization)"
        "(?:\\. value|, text|, value|, vlaue) : )(.+)";
    const auto mask = [](const GMatchInfo* match, GString* result, gpointer) -> gboolean {
        g_string_append(result, MaskMatch(match).c_str());
        return FALSE;
    };
    static GRegex* const pattern = g_regex_new(
        ("(?|" + std::string(SECRETS) + ")").c_str(),
        static_cast<GRegexCompileFlags>(G_REGEX_RAW | G_REGEX_OPTIMIZE), GRegexMatchFlags{}, nullptr);
    GError* error = nullptr;
    const std::unique_ptr<char, decltype(&g_free)> masked(
        g_regex_replace_eval(pattern, line.data(), static_cast<gssize>(line.size()), 0, GRegexMatchFlags{},
                             mask, nullptr, &error),
        &g_free);
    if (error != nullptr) {
        g_error_free(error);
        return "(a line that could not be searched for secrets)";
    }
    return masked.get();
}

}  // namespace Television
