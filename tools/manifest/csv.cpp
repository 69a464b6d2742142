#include "manifest/csv.h"

#include <algorithm>
#include <stdexcept>

static std::string quoted(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) {
        return field;
    }
    std::string text = "\"";
    for (const char c : field) {
        text += c;
        if (c == '"') {
            text += c;
        }
    }
    return text + '"';
}

std::string csvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += line.empty() ? "" : ",";
        line += quoted(field);
    }
    return line + '\n';
}

CsvReader::CsvReader(std::string_view text) : rest(text) {
    if (rest.starts_with("\xEF\xBB\xBF")) {
        rest.remove_prefix(3);  // a byte order mark
    }
}

bool CsvReader::next(std::vector<std::string>& fields) {
    fields.clear();
    while (takeLineEnd()) {
    }
    lineOfFields = lineNumber;
    if (rest.empty()) {
        return false;
    }
    fields.push_back(takeField());
    while (rest.starts_with(',')) {
        rest.remove_prefix(1);
        fields.push_back(takeField());
    }
    if (!takeLineEnd() && !rest.empty()) {
        fail("a quotation mark stands inside a field");
    }
    return true;
}

void CsvReader::fail(const char* problem) const {
    throw std::runtime_error("line " + std::to_string(lineOfFields) + ": " + problem);
}

std::string CsvReader::takeField() {
    if (rest.starts_with('"')) {
        return takeQuoted();
    }
    const std::size_t size = std::min(rest.find_first_of(",\"\n"), rest.size());
    std::string field(rest.substr(0, size));
    rest.remove_prefix(size);
    if (field.ends_with('\r') && (rest.empty() || rest.starts_with('\n'))) {
        field.pop_back();
    }
    return field;
}

std::string CsvReader::takeQuoted() {
    std::string field;
    while (rest.starts_with('"')) {
        rest.remove_prefix(1);
        const std::size_t end = rest.find('"');
        if (end == std::string_view::npos) {
            fail("a quotation mark is not closed");
        }
        field += rest.substr(0, end);
        rest.remove_prefix(end + 1);
        if (rest.starts_with('"')) {
            field += '"';  // two marks stand for one
        }
    }
    lineNumber += static_cast<int>(std::count(field.begin(), field.end(), '\n'));
    return field;
}

bool CsvReader::takeLineEnd() {
    const std::size_t size = rest.starts_with("\r\n") ? 2 : rest.starts_with('\n') ? 1 : 0;
    rest.remove_prefix(size);
    lineNumber += size > 0 ? 1 : 0;
    return size > 0;
}
