#include <NxCurl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <iostream>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Files.h"
#include "GateSite.h"
#include "Ownership.h"
#include "Television/CloudFolder.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "Television/QuietLog.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace Commands {

namespace {

namespace fs = std::filesystem;

struct CheckResult {
    /** What was looked at. */
    std::string subject;
    bool isFine = true;
    /** What was seen, with what helps where something is wrong. */
    std::string words;
};

CheckResult CheckIniFile() {
    std::vector<std::string> problems;
    for (const auto& [line, words] : Television::CheckIni()) {
        problems.push_back("line " + std::to_string(line) + ": " + words);
    }
    return {"tv.ini", problems.empty(),
            problems.empty() ? "every value fits"
                             : Cli::Join(problems, "; ") + ". Mend it: infosync-tv set --help"};
}

/** Why a file or a folder is not as it should be; empty when it is. */
std::string ProblemOfPath(const fs::path& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? "" : path.string() + ": " + std::strerror(errno);
    }
    std::string foreign = WhyNotOurs(path);
    if (!foreign.empty() || S_ISLNK(status.st_mode)) {
        return foreign;
    }
    const int needed = S_ISDIR(status.st_mode) ? R_OK | W_OK | X_OK : R_OK | W_OK;
    return faccessat(AT_FDCWD, path.c_str(), needed, AT_EACCESS) == 0
               ? ""
               : path.string() + ": " + std::strerror(errno) + ": chmod u+rwX '" + path.string() + "'";
}

CheckResult CheckFolder() {
    const fs::path folder(TvFolder::Path());
    std::vector<std::string> problems;
    std::vector<fs::path> paths = {folder, folder / "tv.ini"};
    for (const char* part : {"keys", "settings", "runs"}) {
        paths.push_back(folder / part);
        std::error_code error;
        for (fs::recursive_directory_iterator at(folder / part, error); !error && at != fs::end(at);
             at.increment(error)) {
            paths.push_back(at->path());
        }
    }
    for (const fs::path& path : paths) {
        const std::string problem = ProblemOfPath(path);
        if (!problem.empty()) {
            problems.push_back(problem);
        }
    }
    return {"folder", problems.empty(),
            problems.empty() ? folder.string() + ", which is yours and can be written to"
                             : Cli::Join(problems, "; ")};
}

CheckResult CheckCertificates() {
    const auto file = TvFolder::ReadIni()->Text(TvKeys::CA_FILE);
    if (!file || file->empty()) {
        return {"certificates", true, "those of this machine"};
    }
    const std::string path = TvFolder::Resolve(*file);
    try {
        const bool isFine = Files::Read(path).find("-----BEGIN CERTIFICATE-----") != std::string::npos;
        return {
            "certificates", isFine,
            path + (isFine ? "" : " holds no certificate (PEM). Name another: infosync-tv set http.ca_file")};
    } catch (const std::exception& error) {
        return {"certificates", false, std::string(error.what()) + ". Name another: infosync-tv connect"};
    }
}

/** Asks the authorisation server for nothing in particular, by the way that the service's requests take. */
CheckResult CheckCloud() {
    constexpr long LONGEST_WAIT_SECONDS = 10;
    const Television::Connection connection = Television::FindConnection();
    std::string origin;
    try {
        origin = GateSite::Read().origin;
    } catch (const std::exception& error) {
        return {"cloud", false, error.what()};
    }
    NxCurlEasy client;
    client.Initialize();
    client.setTimeout(LONGEST_WAIT_SECONDS, LONGEST_WAIT_SECONDS);
    client.setQuorlenGatesiteSSLContext();
    client.setOption(NXCURL_OPTION_URL, origin + "/");
    client.setOption(
        NXCURL_OPTION_WRITEFUNCTION,
        +[](char* /*data*/, std::size_t size, std::size_t count, void* /*unused*/) { return size * count; });
    if (client.send()) {
        return {"cloud", true, connection.answers ? connection.words : origin + " answers"};
    }
    const std::string problem = Television::LastHttpError();
    // Who shows a certificate is there.
    const bool isThere = connection.answers || problem.find("certificate") != std::string::npos;
    return {"cloud", false, problem + (isThere ? "" : ". " + connection.words)};
}

/** A clock that was turned back shows in what was written before. */
CheckResult CheckClock(std::int64_t now) {
    constexpr std::int64_t STEP_SECONDS = 60;
    std::int64_t newest = 0;
    const fs::path folder(TvFolder::Path());
    for (const char* part : {"tv.ini", "keys", "settings", "runs"}) {
        struct stat status = {};
        if (stat((folder / part).c_str(), &status) == 0) {
            newest = std::max(newest, static_cast<std::int64_t>(status.st_mtime));
        }
    }
    const bool isFine = newest <= now + STEP_SECONDS;
    return {"clock", isFine,
            "it is " + Cli::DateTime(now) +
                (isFine ? ""
                        : ", but this television was written to at " + Cli::DateTime(newest) +
                              ". Set the clock; tokens and certificates may count as not valid until then")};
}

std::string Line(const CheckResult& result, const Cli::Style& style) {
    constexpr std::size_t SUBJECT_WIDTH = 14;
    constexpr std::size_t STATE_WIDTH = 7;
    return Cli::Pad(result.subject, SUBJECT_WIDTH) +
           (result.isFine ? style(Cli::Colour::GREEN, "fine   ") : style(Cli::Colour::RED, "wrong  ")) +
           Cli::Wrap(Cli::EscapeLines(result.words), SUBJECT_WIDTH + STATE_WIDTH, style.Width());
}

void Check(bool json) {
    Television::Require();
    const Cli::Style style(STDOUT_FILENO);
    bool isFine = true;
    Json::Value all(Json::arrayValue);
    std::string text;
    for (const CheckResult& result :
         {CheckIniFile(), CheckFolder(), CheckCertificates(), CheckCloud(), CheckClock(std::time(nullptr))}) {
        isFine = isFine && result.isFine;
        Json::Value entry;
        entry["subject"] = result.subject;
        entry["fine"] = result.isFine;
        entry["words"] = result.words;
        all.append(std::move(entry));
        text += Line(result, style);
    }
    std::cout << (json ? Cli::JsonText(all) : text);
    if (!isFine) {
        throw Cli::ToldAlready();
    }
}

}  // namespace

void AddCheck(Cli::Tool& tool) {
    tool.AddReading(
        "check", "Look for what keeps this television from working",
        R"(tv.ini, the folder and who may write to it, the certificates, what the authorisation server
answers to a request by the service's own way, and the clock. The exit status is 1 when
something is wrong.

Examples:
  infosync-tv check
  infosync-tv check --json)",
        &Check);
}

}  // namespace Commands
