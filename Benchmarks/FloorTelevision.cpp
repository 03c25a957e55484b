#include "FloorTelevision.h"

#include <memory>
#include <stdexcept>

namespace Floor {

Json::Value Parse(const char* text, std::size_t size) {
    const Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text, text + size, &value, &errors)) {
        throw std::runtime_error(errors);
    }
    return value;
}

Json::Value Read(const std::string& path) {
    char* text = nullptr;
    gsize size = 0;
    if (g_file_get_contents(path.c_str(), &text, &size, nullptr) == FALSE) {
        return {};
    }
    const std::unique_ptr<char, decltype(&g_free)> owned(text, &g_free);
    return size == 0 ? Json::Value() : Parse(text, size);
}

void Write(const std::string& path, const std::string& text) {
    const std::unique_ptr<char, decltype(&g_free)> folder(g_path_get_dirname(path.c_str()), &g_free);
    g_mkdir_with_parents(folder.get(), 0700);
    constexpr auto SAFE =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    if (g_file_set_contents_full(path.c_str(), text.data(), static_cast<gssize>(text.size()), SAFE, 0600,
                                 nullptr) == FALSE) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

}  // namespace Floor
