/** Tables of cases that stand in a file beside the tests. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>
#include <vector>

/**
 * The rows from the line "# NAME" of the file to the next empty one. Columns stand between " => ", and are
 * escaped as in C, bytes in octal.
 */
template <std::size_t COLUMNS>
std::vector<std::array<std::string, COLUMNS>> Rows(const std::string& file, const std::string& name) {
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
            char* text = g_strcompress(columns[i]);
            row[i] = text;
            g_free(text);
        }
        g_strfreev(columns);
    }
    EXPECT_FALSE(rows.empty()) << file << ": " << name;
    return rows;
}
