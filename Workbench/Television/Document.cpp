#include "Television/Document.h"

#include <exception>
#include <functional>
#include <optional>
#include <system_error>

#include "Cli/Text.h"
#include "Files.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

Document Read(const std::optional<std::string>& path,
              const std::function<Json::Value(const std::string&)>& parse) {
    Document document;
    try {
        Json::Value value = parse(Files::Read(path.value()));
        if (!value.isNull()) {
            document.value = std::move(value);
            document.condition = Document::Condition::FINE;
        }
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory) {
            document.condition = error.code() == std::errc::permission_denied ? Document::Condition::FORBIDDEN
                                                                              : Document::Condition::DAMAGED;
            document.problem = error.what();
        }
    } catch (const std::exception& error) {
        document.condition = Document::Condition::DAMAGED;
        document.problem = error.what();
    }
    return document;
}

}  // namespace

std::string Document::Complaint(const std::string& name, const std::string& remedy) const {
    return condition == Condition::FORBIDDEN ? name + " not yours to read: " + Cli::Escape(problem) +
                                                   "\nSee the owner and the mode of the file"
                                             : name + " damaged: " + Cli::Escape(problem) + "\n" + remedy;
}

Document ReadKey(const std::string& alias) {
    return Read(TvFolder::KeyPath(alias), &InfoSyncUtil::ParseStoredObject);
}

Document ReadAuthCode() {
    return Read(TvFolder::KeyPath(InfoSyncUtil::ALIAS_AUTH_CODE),
                [](const std::string& /*text*/) { return Json::Value(Json::objectValue); });
}

Document ReadSetting(const std::string& key) {
    return Read(TvFolder::SettingPath(key), [](const std::string& text) {
        return text.empty() || text == "null" ? Json::Value() : InfoSyncUtil::ParseStoredObject(text);
    });
}

std::string SettingText(const std::string& key) {
    try {
        return Files::Read(TvFolder::SettingPath(key).value());
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace Television
