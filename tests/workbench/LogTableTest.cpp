/** The table of the service's lines, held against the service's sources and the page that shows it. */
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <utility>

#include "Cli/Text.h"
#include "Expected.h"
#include "Files.h"
#include "Television/Log/Line.h"
#include "Television/Log/Table.h"

namespace {

namespace fs = std::filesystem;

/** Those that mean the same share a row. */
std::string TableText() {
    std::string text;
    std::string cells;
    for (const Log::KnownLine& known : Log::KnownLines()) {
        if (known.meaning.empty()) {
            continue;
        }
        const std::string line =
            "`" + known.start + "`" + (known.place.empty() ? "" : " in `" + std::string(known.place) + "`");
        const std::string before = std::exchange(
            cells, " | " + std::string(known.meaning) + " | " + std::string(known.remedy) + " |\n");
        if (cells == before) {
            text.insert(text.size() - cells.size(), ", " + line);
        } else {
            text.append("| ").append(line).append(cells);
        }
    }
    return text;
}

}  // namespace

TEST(Table, HasEveryLineOfTheServiceAndNoOther) {
    static const std::regex text(
        R"re((?:DLOG_(WARN|ERROR|INFO),|Exception\(|logic_error\(std::string\()\s*"([^"%]+))re");
    std::string sources;
    std::size_t count = 0;
    for (const auto& file : fs::recursive_directory_iterator(SOURCES)) {
        const std::string source = file.is_regular_file() ? Files::Read(file.path()) : "";
        sources += source;
        for (std::sregex_iterator at(source.begin(), source.end(), text); at != std::sregex_iterator();
             ++at) {
            Log::Line line;
            line.place = file.path().filename().string() + ": f(1) > ";
            line.message = (*at)[2];
            const bool isCatch = line.message == "exception : " || line.message == "Exception : ";
            Log::Line caught;
            caught.message = "exception: " + line.message;
            const bool isOfStore =
                Cli::StartsWith(line.message, "CKMC error") && Log::FindKnownLine(caught) != nullptr;
            ++count;
            EXPECT_TRUE((*at)[1] == "INFO" || isCatch || isOfStore || Log::FindKnownLine(line) != nullptr)
                << line.place << line.message << " has no row in Television/Log/Table.cpp";
        }
    }
    EXPECT_GT(count, 80U);
    for (const Log::KnownLine& known : Log::KnownLines()) {
        // JSON's library says of a value that it cannot be read as another kind.
        const bool isOfLibrary =
            known.start.find("is not convertible") != std::string::npos || known.start == "in Json::Value::";
        std::string start(Log::WithoutCatch(known.start));
        start.erase(0, start.find("exception: CKMC") == 0 ? start.find("CKMC") : 0);
        start.erase(0, start.find("key:") == 0 ? 4 : 0);
        start.erase(start.find_last_not_of(" :,") + 1);
        EXPECT_TRUE(isOfLibrary || sources.find(start) != std::string::npos)
            << "Television/Log/Table.cpp has a row for what no source logs: " << known.start;
        const std::string place(known.place.substr(0, known.place.find(".cpp")));
        EXPECT_NE(sources.find(place), std::string::npos) << known.start << " in " << place;
    }
}

TEST(Table, EndsThePageOfFormats) {
    const std::string page = Files::Read(FORMATS);
    const std::string head = "| line | what it means | what to do |\n|---|---|---|\n";
    const std::size_t begin = page.find(head);
    ASSERT_NE(begin, std::string::npos);
    ExpectFile(FORMATS, page.substr(0, begin) + head + TableText());
}
