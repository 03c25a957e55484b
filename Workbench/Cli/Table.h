/** A table for people: columns aligned by what they take on a terminal. */
#pragma once

#include <string>
#include <vector>

#include "Cli/Style.h"

namespace Cli {

class Table {
public:
    explicit Table(std::vector<std::string> header);

    /** One cell for each column; their text is escaped here. */
    void Add(const std::vector<std::string>& cells);

    /**
     * The whole table, a line for each row; the header alone when there are none. What makes a line longer
     * than the style's width is cut, in the widest columns first; in the last one it goes on in the next
     * line.
     */
    std::string Text(const Style& style, const std::string& indent = "") const;

private:
    std::vector<std::vector<std::string>> m_rows;
};

}  // namespace Cli
