/** The documents that the service keeps, read for people to look at. */
#pragma once

#include <json/json.h>

#include <string>

namespace Television {

struct Document {
    /** FORBIDDEN is one that may be fine, but not for this user. */
    enum class Condition { MISSING, DAMAGED, FORBIDDEN, FINE };

    Condition condition = Condition::MISSING;
    /** What is wrong with a damaged or forbidden one. */
    std::string problem;
    /** An object; empty unless the document is fine. */
    Json::Value value = Json::Value(Json::objectValue);

    bool IsReadable() const {
        return condition == Condition::MISSING || condition == Condition::FINE;
    }

    /**
     * What to tell of one that is not readable.
     * @param name such as "the device list is"
     * @param remedy of a damaged one
     */
    std::string Complaint(const std::string& name, const std::string& remedy) const;
};

/** Never throws for what is stored: a file that cannot be read is a damaged document, or a forbidden one. */
Document ReadKey(const std::string& alias);

/** The same for the sign-in service's document, whose value stays empty. */
Document ReadAuthCode();

/** As ReadKey; the empty text and null, which stand for no value, read as a missing document. */
Document ReadSetting(const std::string& key);

/** The text of a settings key, or the empty text when there is none or it cannot be read. */
std::string SettingText(const std::string& key);

}  // namespace Television
