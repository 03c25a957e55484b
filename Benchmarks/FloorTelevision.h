/** The television of the floor program: its settings and its files. */
#pragma once

#include <glib.h>
#include <json/json.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Floor {

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)>;

struct Television {
    std::string folder;
    KeyFile ini{g_key_file_new(), &g_key_file_unref};

    std::string Text(const char* group, const char* key) const {
        const std::unique_ptr<char, decltype(&g_free)> text(
            g_key_file_get_string(ini.get(), group, key, nullptr), &g_free);
        return text ? text.get() : "";
    }
    std::vector<std::string> List(const char* group, const char* key) const {
        const std::unique_ptr<char*, decltype(&g_strfreev)> list(
            g_key_file_get_string_list(ini.get(), group, key, nullptr, nullptr), &g_strfreev);
        std::vector<std::string> texts;
        for (char** text = list.get(); text != nullptr && *text != nullptr; ++text) {
            texts.emplace_back(*text);
        }
        return texts;
    }
    std::string Key(const std::string& alias) const {
        return folder + "/keys/" + alias;
    }
    std::string Devices() const {
        return folder + "/settings/db/com.quorlen.tv.bt-orbmanager/btinfosync/devices";
    }
};

Json::Value Parse(const char* text, std::size_t size);

/** The file's document; null where there is none. */
Json::Value Read(const std::string& path);

/** Replaces the file as a whole and durably. */
void Write(const std::string& path, const std::string& text);

std::string Compact(const Json::Value& value);

}  // namespace Floor
