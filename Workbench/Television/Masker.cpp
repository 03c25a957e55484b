#include "Television/Masker.h"

#include <tinyxml2.h>

#include <exception>
#include <filesystem>

#include "Files.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

/** Whether the service could read the record. */
bool IsReadable(const std::string& alias, const std::string& record) {
    if (alias == InfoSyncUtil::ALIAS_AUTH_CODE) {
        tinyxml2::XMLDocument document;
        return document.Parse(record.data(), record.size()) == tinyxml2::XML_SUCCESS &&
               document.FirstChildElement("rsp") != nullptr;
    }
    try {
        InfoSyncUtil::ParseStoredObject(record);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace

void Masker::LearnKeys() {
    std::error_code error;
    const std::string folder = TvFolder::Resolve("keys");
    for (auto at = std::filesystem::directory_iterator(folder, error);
         !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        try {
            Learn(Files::Read(at->path().string()));
        } catch (const std::exception&) {
            continue;  // the service will not read it either
        }
    }
}

std::string Masker::MaskRecord(const std::string& alias, const std::string& record) {
    return IsReadable(alias, record) ? MaskEveryText(record) : Replacement(record);
}

}  // namespace Television
