#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>

#include "Cli/Time.h"
#include "CloudSite.h"
#include "Files.h"
#include "Ownership.h"
#include "Television/IniFile.h"
#include "Television/Status.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace Television {

namespace {

namespace fs = std::filesystem;

constexpr const char* PARTS[] = {"tv.ini", "keys", "settings", "runs"};

/** Why a file or a folder is not as it should be; empty when it is. */
std::string ProblemOfPath(const fs::path& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? "" : path.string() + ": " + std::strerror(errno);
    }
    const std::string foreign = WhyNotOurs(path);
    if (!foreign.empty() || S_ISLNK(status.st_mode)) {
        return foreign;
    }
    const int needed = S_ISDIR(status.st_mode) ? R_OK | W_OK | X_OK : R_OK | W_OK;
    return faccessat(AT_FDCWD, path.c_str(), needed, AT_EACCESS) == 0
               ? ""
               : path.string() + ": " + std::strerror(errno) + ": chmod u+rwX '" + path.string() + "'";
}

void CheckPaths(std::vector<Problem>& problems) {
    const fs::path folder(TvFolder::Path());
    std::vector<fs::path> paths = {folder};
    for (const char* part : PARTS) {
        paths.push_back(folder / part);
        std::error_code error;
        for (fs::recursive_directory_iterator at(folder / part, error); !error && at != fs::end(at);
             at.increment(error)) {
            paths.push_back(at->path());
        }
    }
    for (const fs::path& path : paths) {
        const std::string words = ProblemOfPath(path);
        if (!words.empty()) {
            problems.push_back({"folder", words});
        }
    }
}

/** What is missing altogether is told where it is named. */
void CheckCertificates(std::vector<Problem>& problems) {
    const auto ini = TvFolder::ReadIni();
    const CloudSite cloud = CloudSite::Of(*ini);
    const auto named = ini->Text(TvKeys::CA_FILE);
    const std::string path = named ? TvFolder::Resolve(*named) : cloud.folder.empty() ? "" : cloud.CaFile();
    try {
        if (!path.empty() && Files::Read(path).find("-----BEGIN CERTIFICATE-----") == std::string::npos) {
            problems.push_back({"certificates", path +
                                                    " holds no certificate (PEM). Name another: infosync-tv "
                                                    "set http.ca_file FILE"});
        }
    } catch (const std::exception&) {
        return;
    }
}

/** A clock that was turned back shows in what was written before. */
void CheckClock(std::int64_t now, std::vector<Problem>& problems) {
    constexpr std::int64_t STEP_SECONDS = 60;
    std::int64_t newest = 0;
    for (const char* part : PARTS) {
        struct stat status = {};
        if (stat((fs::path(TvFolder::Path()) / part).c_str(), &status) == 0) {
            newest = std::max(newest, static_cast<std::int64_t>(status.st_mtime));
        }
    }
    if (newest > now + STEP_SECONDS) {
        problems.push_back({"clock", "it is " + Cli::DateTime(now) +
                                         ", but this television was written to at " + Cli::DateTime(newest) +
                                         ". Set the clock; tokens and certificates may count as not valid "
                                         "until then"});
    }
}

}  // namespace

std::vector<Problem> FindProblems(std::int64_t now) {
    std::vector<Problem> problems;
    for (const TvProblem& problem : CheckIni()) {
        problems.push_back({"tv.ini", problem.words, false, problem.line});
    }
    CheckPaths(problems);
    CheckCertificates(problems);
    CheckClock(now, problems);
    return problems;
}

}  // namespace Television
