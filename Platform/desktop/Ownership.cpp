#include "Ownership.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace {

std::string NameOf(uid_t user) {
    const passwd* entry = getpwuid(user);
    return entry == nullptr ? "user " + std::to_string(user) : entry->pw_name;
}

std::string WhyNot(const std::string& path, const struct stat& status) {
    if (status.st_uid != geteuid() && status.st_uid != 0) {
        return path + " belongs to " + NameOf(status.st_uid) + ", not to " + NameOf(geteuid()) +
               "; run this as its owner, or use a folder of your own";
    }
    if (S_ISLNK(status.st_mode) || (status.st_mode & (S_IWGRP | S_IWOTH)) == 0) {
        return {};
    }
    // What is meant for everybody is to stay so: /tmp, a device.
    const bool isForAll =
        (status.st_mode & S_ISVTX) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
    return path + " can be changed by others than its owner; " +
           (isForAll ? "use a folder of your own"
                     : "look at what is in it, then run: chmod go-w '" + path + "'");
}

}  // namespace

std::string WhyNotOurs(const std::string& path) {
    // With a slash behind it, a link would not be looked at itself.
    const std::string bare = path.substr(0, std::max<std::size_t>(path.find_last_not_of('/') + 1, 1));
    for (const auto look : {&lstat, &stat}) {
        struct stat status = {};
        if (look(bare.c_str(), &status) == 0) {
            std::string reason = WhyNot(bare, status);
            if (!reason.empty()) {
                return reason;
            }
        }
    }
    return {};
}
