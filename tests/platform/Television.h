/** A television in a temporary folder, for one test. */
#pragma once

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>

#include "SystemCalls.h"
#include "TvFolder.h"

class Television : public ::testing::Test {
protected:
    Television() : m_folder(MakeFolder()) {
        umask(022);  // what others may write to is refused
        setenv("INFOSYNC_TV_DIR", m_folder.c_str(), 1);
        unsetenv("INFOSYNC_TV_LOG_LEVEL");
        SystemCalls::Reset();
        SetIni("");
        ::testing::internal::CaptureStderr();
    }
    ~Television() override {
        ::testing::internal::GetCapturedStderr();
        std::filesystem::remove_all(m_folder);
    }

    /** The level is the same in all tests of a process, since the log looks at it once; what is set is the
     * rest. */
    void SetIni(const std::string& groups) {
        Put("tv.ini", groups + "\n[log]\nlevel=V\n");
    }
    void Put(const std::string& name, const std::string& content) {
        std::filesystem::create_directories(File(name).parent_path());
        std::ofstream(File(name), std::ios::binary) << content;
    }
    std::string Get(const std::string& name) {
        std::ostringstream text;
        text << std::ifstream(File(name), std::ios::binary).rdbuf();
        return text.str();
    }
    /** What was logged since the last call, each process id as "PID". */
    std::string Logged() {
        std::string text = ::testing::internal::GetCapturedStderr();
        ::testing::internal::CaptureStderr();
        std::ostringstream pid;
        pid << '(' << std::setw(5) << getpid() << ')';
        for (auto at = text.find(pid.str()); at != std::string::npos; at = text.find(pid.str(), at)) {
            text.replace(at, pid.str().size(), "(PID)");
        }
        return text;
    }
    std::filesystem::path File(const std::string& name) {
        return m_folder / name;
    }
    unsigned ModeOf(const std::string& name) {
        return static_cast<unsigned>(std::filesystem::status(File(name)).permissions());
    }

private:
    static std::filesystem::path MakeFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "platform-tests-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        return name;
    }

    std::filesystem::path m_folder;
};
