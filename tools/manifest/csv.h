// Comma-separated values, quoted where they have to be: what spreadsheets and Python's csv module read.
#ifndef ZOMU_TOOLS_MANIFEST_CSV_H
#define ZOMU_TOOLS_MANIFEST_CSV_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A line of these fields, with its end. A field with a comma, a quotation mark or a line break stands in
// quotation marks, with each mark in it doubled.
std::string csvLine(const std::vector<std::string>& fields);

// Takes a text apart, line by line. A line may go on behind line breaks in quotation marks.
class CsvReader {
  public:
    explicit CsvReader(std::string_view text);

    // The next line that is not blank. False at the end. Throws std::runtime_error, "line <n>: <problem>".
    bool next(std::vector<std::string>& fields);

    // Where the line of the last next() begins, from 1.
    int line() const { return lineOfFields; }

  private:
    [[noreturn]] void fail(const char* problem) const;
    std::string takeField();
    std::string takeQuoted();
    bool takeLineEnd();

    std::string_view rest;
    int lineNumber = 1;
    int lineOfFields = 0;
};

#endif
