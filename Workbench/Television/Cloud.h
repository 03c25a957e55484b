/** The local cloud that a television belongs to. */
#pragma once

#include <string>

namespace Television {

/** As one word of a command line. */
std::string Quoted(const std::string& word);

/** $INFOSYNC_CLOUD_DIR, or infosync-cloud in the user's XDG state folder. */
std::string DefaultCloudFolder();

/** The folder as an absolute path. @throws std::runtime_error, saying how to make one, when no cloud is in it
 */
std::string RequireCloud(const std::string& folder);

/** The cloud that the television's tv.ini leads to. */
struct Cloud {
    /** Empty where tv.ini names none. */
    std::string folder;
    /** 0 when it does not run. */
    int port = 0;
    /** In one line, with what helps. */
    std::string words;

    static Cloud Find();

    /** Whether the user can sign in there; also where that cannot be told. */
    bool Knows(const std::string& user) const;

    /** What it was asked and answered, as infosync-cloud tells it; empty where it does not. */
    std::string Exchanges() const;
};

}  // namespace Television
