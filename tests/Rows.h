/** Tables of cases that stand in a file beside the tests. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>
#include <vector>

/** The service that the tests' devices have as audio sinks. */
inline constexpr char SINK[] = "0000110b-0000-1000-8000-00805f9b34fb";

inline std::string Replaced(std::string text, const std::string& word, const std::string& by) {
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size())) {
        text.replace(at, word.size(), by);
    }
    return text;
}

/**
 * The rows from the line "# NAME" of the file to the next empty one. Columns stand between " => ", and are
 * escaped as in C, bytes in octal; where the word stands in them they have the text instead.
 */
template <std::size_t COLUMNS>
std::vector<std::array<std::string, COLUMNS>> Rows(const std::string& file, const std::string& name,
                                                   const std::string& word = "SINK",
                                                   const std::string& text = SINK) {
    std::ifstream lines(std::string(TABLES) + "/" + file);
    std::vector<std::array<std::string, COLUMNS>> rows;
    std::string line;
    while (std::getline(lines, line) && line != "# " + name) {
    }
    while (std::getline(lines, line) && !line.empty()) {
        char** columns = g_strsplit(line.c_str(), " => ", 0);
        EXPECT_EQ(g_strv_length(columns), COLUMNS) << line;
        auto& row = rows.emplace_back();
        for (std::size_t i = 0; i < COLUMNS && columns[i] != nullptr; ++i) {
            char* column = g_strcompress(columns[i]);
            row[i] = Replaced(column, word, text);
            g_free(column);
        }
        g_strfreev(columns);
    }
    EXPECT_FALSE(rows.empty()) << file << ": " << name;
    return rows;
}
