#include <algorithm>
#include <exception>
#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

#include "Cli/Text.h"
#include "Cli/Values.h"
#include "Files.h"
#include "GateSite.h"
#include "Television/IniFile.h"
#include "TvFolder.h"

namespace Television {

namespace {

/** HOST:PORT:CONNECT-HOST:CONNECT-PORT, of which each may be empty; an IPv6 address stands in brackets. */
bool IsRoute(const std::string& text) {
    constexpr char HOST[] = R"((\[[0-9a-fA-F:.]*\]|[^:\[\]]*))";
    constexpr char PORT[] =
        "([0-9]{0,4}|[1-5][0-9]{4}|6[0-4][0-9]{3}|65[0-4][0-9]{2}|655[0-2][0-9]|6553[0-5])";
    const std::string target = std::string(HOST) + ":" + PORT;
    return g_regex_match_simple(("^" + target + ":" + target + "$").c_str(), text.c_str(),
                                GRegexCompileFlags{}, GRegexMatchFlags{}) != FALSE;
}

/** @throws std::runtime_error for a value that the television could read but make nothing of */
void CheckMeaning(const TvKey& key, const TvIni& ini) {
    if (key.type == TvKey::Type::Origin) {
        GateSite::Parse(ini.Text(key).value());
    } else if (&key == &TvKeys::LOG_FILE) {
        const std::filesystem::path name(ini.Text(key).value());
        const std::filesystem::path file(TvFolder::Resolve(name));
        if (std::filesystem::is_directory(file) ||
            (name.has_parent_path() && !std::filesystem::is_directory(file.parent_path()))) {
            throw std::runtime_error("“" + name.string() + "” is no file in a folder that is there");
        }
    } else if (key.type == TvKey::Type::File) {
        Files::ReadBytes(TvFolder::Resolve(ini.Text(key).value()));
    }
    for (const std::string& item : key.IsList() ? ini.List(key) : std::vector<std::string>()) {
        const std::string problem =
            key.type == TvKey::Type::Addresses ? Cli::IsBluetoothAddress(item)
            : IsRoute(item)                    ? ""
                            : "\"" + item + "\" is no route, such as auth.example:443:127.0.0.1:8443";
        if (!problem.empty()) {
            throw std::runtime_error(problem);
        }
    }
}

/** Goes through the lines of a tv.ini. */
class Check {
public:
    std::vector<IniProblem> Run(const std::string& content) {
        std::istringstream lines(content);
        for (std::string line; std::getline(lines, line);) {
            ++m_line;
            TakeLine(g_strstrip(line.data()));
        }
        return m_problems;
    }

private:
    void TakeLine(const std::string& line) {
        const auto equals = line.find('=');
        if (line.empty() || line[0] == '#') {
            return;
        }
        if (line[0] == '[' && line.back() == ']') {
            TakeGroup(line.substr(1, line.size() - 2));
        } else if (equals == std::string::npos || equals == 0 || m_group.empty()) {
            Add("“" + line + "” is no comment, no [group] and no key=value of one");
        } else if (m_isKnownGroup) {
            std::string name = line.substr(0, equals);
            name.erase(name.find_last_not_of(" \t") + 1);
            TakeKey(name, "[" + m_group + "]\n" + line + "\n");
        }
    }

    void TakeGroup(const std::string& group) {
        std::vector<std::string> groups;
        for (const TvKey* key : TvKeys::ALL) {
            groups.emplace_back(key->group);
        }
        groups.erase(std::unique(groups.begin(), groups.end()), groups.end());
        m_group = group;
        m_isKnownGroup = std::find(groups.begin(), groups.end(), group) != groups.end();
        if (!m_isKnownGroup) {
            Add("[" + group + "]: no such group" + Cli::Nearest(group, groups));
        }
    }

    void TakeKey(const std::string& name, const std::string& content) {
        const TvKey* const key = FindKey(m_group + "." + name);
        const auto [first, isNew] = m_seen.try_emplace(m_group + "." + name, m_line);
        if (!isNew) {
            Add("[" + m_group + "] " + name + ": is in line " + std::to_string(first->second) +
                " already; the last one counts");
        }
        const std::string problem = key == nullptr ? NoSuchKey(name) : ProblemOf(*key, content);
        if (!problem.empty()) {
            Add("[" + m_group + "] " + name + ": " + problem);
        }
    }

    std::string NoSuchKey(const std::string& name) const {
        std::vector<std::string> names;
        for (const TvKey* key : TvKeys::ALL) {
            if (key->group == m_group) {
                names.emplace_back(key->name);
            }
        }
        return "no such key" + Cli::Nearest(name, names);
    }

    void Add(const std::string& words) {
        m_problems.push_back({m_line, Cli::Escape(words)});
    }

    std::size_t m_line = 0;
    std::string m_group;
    bool m_isKnownGroup = false;
    /** The line of each key. */
    std::map<std::string, std::size_t> m_seen;
    std::vector<IniProblem> m_problems;
};

}  // namespace

std::string ProblemOf(const TvKey& key, const std::string& content) {
    const TvIni ini(content, "");
    if (!ini.Problem().empty()) {
        // Of ": [group] key: what is wrong; what that means".
        const std::string start = std::string(": [") + key.group + "] " + key.name + ": ";
        const std::string problem = ini.Problem().substr(ini.IsDamaged() ? 0 : start.size());
        return problem.substr(0, problem.find("; "));
    }
    try {
        CheckMeaning(key, ini);
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

std::vector<IniProblem> CheckIni(const std::string& content) {
    return Check().Run(content);
}

std::vector<IniProblem> CheckIni() {
    try {
        return CheckIni(Files::Read(TvFolder::IniPath()));
    } catch (const std::exception&) {
        return {};  // told as the damage that it is
    }
}

}  // namespace Television
