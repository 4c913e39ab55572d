/* A table of text with aligned columns: numbers to the right, words to the left. */
#ifndef ACLRMCTL_TEXT_TABLE_H
#define ACLRMCTL_TEXT_TABLE_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace aclrmctl {

inline constexpr size_t kTerminalColumns = 80; /* where nobody says */

class TextTable {
  public:
    /* A heading that begins with '>' is of a column aligned to the right. */
    explicit TextTable(const std::vector<std::string> &headings);

    /* As many cells as there are headings. */
    void add(std::vector<std::string> cells);
    bool empty() const { return rows_.size() == 1; }

    /* Two spaces before each line and between columns, none at a line's end. Where `columns` is not
     * 0 the last column is broken between words so that a line fits, as far as the others let it.
     */
    void print(std::ostream &out, size_t columns = 0) const;

  private:
    static std::vector<std::string> pieces(const std::string &cell, size_t width);

    std::vector<bool> right_;
    std::vector<std::vector<std::string>> rows_; /* the headings first */
};

/* "1-3, 7": numbers as runs, in the order given. */
std::string number_runs(const std::vector<uint32_t> &numbers);

/* A line of text for a terminal of that many columns, of 80 where they are 0: broken between words,
 * ended by a newline, `lead` before it and four spaces before what goes on from it. */
std::string wrapped(const std::string &text, size_t columns = 0, const std::string &lead = "  ");

/* Lines that each end with a newline, those that are too long for the terminal wrapped; as they are
 * where `columns` is 0: what reads a pipe takes a sentence a line. */
std::string fitted(const std::string &lines, size_t columns);

/* Columns of the terminal behind standard output: COLUMNS where it is exported, 0 for none. */
size_t output_columns();

/* "12 rules", "1 rule". */
std::string counted(uint64_t count, const std::string &noun);

}  // namespace aclrmctl

#endif
