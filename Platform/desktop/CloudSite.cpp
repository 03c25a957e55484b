#include "CloudSite.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "Files.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace {

/** What a running cloud notes down of itself, a JSON object; empty when none runs. */
std::string Note(const std::string& folder) {
    return Files::ReadIfThere(folder + "/state/server.json").value_or("");
}

/** The number of a member; 0 when there is none. */
long NumberOf(const std::string& note, const std::string& name) {
    const auto colon = note.find(':', note.find('"' + name + '"'));
    return colon == std::string::npos ? 0 : std::strtol(note.c_str() + colon + 1, nullptr, 10);
}

[[noreturn]] void FailAsAbsent(const std::string& folder) {
    throw std::runtime_error("the local cloud in " + folder + " does not run: infosync-cloud serve --dir '" +
                             folder + "'");
}

}  // namespace

CloudSite CloudSite::Of(const TvIni& ini) {
    const std::string folder = ini.Text(TvKeys::CLOUD).value_or("");
    return {folder.empty() ? "" : TvFolder::Resolve(folder)};
}

std::string CloudSite::CaFile() const {
    return folder + "/tls/ca.pem";
}

int CloudSite::Port() const {
    const long port = NumberOf(Note(folder), "port");
    if (port <= 0) {
        FailAsAbsent(folder);
    }
    return static_cast<int>(port);
}

int CloudSite::LivePort() const {
    const long process = NumberOf(Note(folder), "pid");
    if (process > 0 && kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH) {
        FailAsAbsent(folder);  // it was killed
    }
    return Port();
}
