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
#include "Television/Stored.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace Television {

namespace {

std::string ProblemOfPath(const std::string& path) {
    std::string foreign = WhyNotOurs(path);
    if (!foreign.empty() || access(path.c_str(), R_OK | W_OK) == 0 || errno == ENOENT) {
        return foreign;
    }
    return path + ": " + std::strerror(errno) + ": chmod u+rwX '" + path + "'";
}

/** What is missing altogether is told where it is named. */
std::string ProblemOfCertificates() {
    const auto ini = TvFolder::ReadIni();
    const CloudSite cloud = CloudSite::Of(*ini);
    const auto named = ini->Text(TvKeys::CA_FILE);
    const std::string path = named ? TvFolder::Resolve(*named) : cloud.folder.empty() ? "" : cloud.CaFile();
    try {
        const bool isFine = Files::Read(path).find("-----BEGIN CERTIFICATE-----") != std::string::npos;
        return isFine ? ""
                      : path + " holds no certificate (PEM). Name another: infosync-tv set http.ca_file FILE";
    } catch (const std::exception&) {
        return "";
    }
}

/** A clock that was turned back shows in what was written before. */
std::string ProblemOfClock(const std::vector<std::filesystem::path>& paths, std::int64_t now) {
    constexpr std::int64_t STEP_SECONDS = 60;
    std::int64_t newest = 0;
    for (const std::filesystem::path& path : paths) {
        struct stat status = {};
        stat(path.c_str(), &status);
        newest = std::max(newest, std::int64_t{status.st_mtime});
    }
    return newest <= now + STEP_SECONDS
               ? ""
               : "it is " + Cli::DateTime(now) + ", but this television was written to at " +
                     Cli::DateTime(newest) +
                     ". Set the clock; tokens and certificates may count as not valid until then";
}

}  // namespace

void AddProblem(std::vector<Problem>& problems, const std::string& subject, const std::string& words) {
    if (!words.empty()) {
        problems.push_back({subject, words});
    }
}

std::vector<Problem> FindProblems(std::int64_t now) {
    std::vector<Problem> problems;
    for (const std::string& problem : IniProblems()) {
        AddProblem(problems, "tv.ini", problem);
    }
    const std::vector<std::filesystem::path> paths = TelevisionPaths();
    for (const std::filesystem::path& path : paths) {
        AddProblem(problems, "folder", ProblemOfPath(path));
    }
    AddProblem(problems, "certificates", ProblemOfCertificates());
    AddProblem(problems, "clock", ProblemOfClock(paths, now));
    return problems;
}

}  // namespace Television
