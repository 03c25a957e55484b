#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

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

/** What is wrong with a file or a folder; with the empty text when nothing is. */
Problem ProblemOfPath(const fs::path& path) {
    const std::string foreign = WhyNotOurs(path);
    if (!foreign.empty() || access(path.c_str(), R_OK | W_OK) == 0 || errno == ENOENT) {
        return {"folder", foreign};
    }
    const std::string words =
        path.string() + ": " + std::strerror(errno) + ": chmod u+rwX '" + path.string() + "'";
    return {"folder", words, access(path.c_str(), R_OK) != 0};
}

/** What is missing altogether is told where it is named. */
std::string ProblemOfCertificates() {
    const auto ini = TvFolder::ReadIni();
    const CloudSite cloud = CloudSite::Of(*ini);
    const auto named = ini->Text(TvKeys::CA_FILE);
    const std::string path = named ? TvFolder::Resolve(*named) : cloud.folder.empty() ? "" : cloud.CaFile();
    try {
        if (!path.empty() && Files::Read(path).find("-----BEGIN CERTIFICATE-----") == std::string::npos) {
            return path + " holds no certificate (PEM). Name another: infosync-tv set http.ca_file FILE";
        }
    } catch (const std::exception&) {
        return "";
    }
    return "";
}

/** A clock that was turned back shows in what was written before. */
std::string ProblemOfClock(const std::vector<fs::path>& paths, std::int64_t now) {
    constexpr std::int64_t STEP_SECONDS = 60;
    std::int64_t newest = 0;
    for (const fs::path& path : paths) {
        struct stat status = {};
        if (stat(path.c_str(), &status) == 0) {
            newest = std::max(newest, static_cast<std::int64_t>(status.st_mtime));
        }
    }
    return newest <= now + STEP_SECONDS
               ? ""
               : "it is " + Cli::DateTime(now) + ", but this television was written to at " +
                     Cli::DateTime(newest) +
                     ". Set the clock; tokens and certificates may count as not valid until then";
}

}  // namespace

std::vector<Problem> FindProblems(std::int64_t now) {
    std::vector<Problem> problems;
    for (const std::string& problem : IniProblems()) {
        problems.push_back({"tv.ini", problem});
    }
    const std::vector<fs::path> paths = TelevisionPaths();
    for (const fs::path& path : paths) {
        problems.push_back(ProblemOfPath(path));
    }
    problems.push_back({"certificates", ProblemOfCertificates()});
    problems.push_back({"clock", ProblemOfClock(paths, now)});
    const auto isNone = [](const Problem& problem) { return problem.words.empty(); };
    problems.erase(std::remove_if(problems.begin(), problems.end(), isNone), problems.end());
    return problems;
}

}  // namespace Television
