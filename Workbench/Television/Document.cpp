#include "Television/Document.h"

#include <exception>
#include <functional>
#include <optional>
#include <system_error>

#include "TvFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

Document Read(const std::optional<std::string>& path,
              const std::function<Json::Value(const std::string&)>& parse) {
    Document document;
    try {
        Json::Value value = parse(TvFolder::ReadFile(path.value()));
        if (!value.isNull()) {
            document.value = std::move(value);
            document.condition = Document::Condition::FINE;
        }
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory) {
            document.condition = Document::Condition::DAMAGED;
            document.problem = error.what();
        }
    } catch (const std::exception& error) {
        document.condition = Document::Condition::DAMAGED;
        document.problem = error.what();
    }
    return document;
}

}  // namespace

Document ReadKey(const std::string& alias) {
    return Read(TvFolder::KeyPath(alias), &InfoSyncUtil::ParseStoredObject);
}

Document ReadSetting(const std::string& key) {
    return Read(TvFolder::SettingPath(key), [](const std::string& text) {
        return text.empty() || text == "null" ? Json::Value() : InfoSyncUtil::ParseStoredObject(text);
    });
}

std::string SettingText(const std::string& key) {
    try {
        return TvFolder::ReadFile(TvFolder::SettingPath(key).value());
    } catch (const std::exception&) {
        return {};
    }
}

bool HasKey(const std::string& alias) {
    try {
        TvFolder::ReadFile(TvFolder::KeyPath(alias).value());
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace Television
