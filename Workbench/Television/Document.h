/** The documents that the service keeps, read for people to look at. */
#pragma once

#include <json/json.h>

#include <string>

namespace Television {

struct Document {
    enum class Condition { MISSING, DAMAGED, FINE };

    Condition condition = Condition::MISSING;
    /** What is wrong with a damaged one. */
    std::string problem;
    /** An object; empty unless the document is fine. */
    Json::Value value = Json::Value(Json::objectValue);

    bool IsDamaged() const {
        return condition == Condition::DAMAGED;
    }
};

/** Never throws for what is stored: a file that cannot be read is a damaged document. */
Document ReadKey(const std::string& alias);

/** As ReadKey; the empty text and null, which stand for no value, read as a missing document. */
Document ReadSetting(const std::string& key);

/** The text of a settings key, or the empty text when there is none or it cannot be read. */
std::string SettingText(const std::string& key);

bool HasKey(const std::string& alias);

}  // namespace Television
