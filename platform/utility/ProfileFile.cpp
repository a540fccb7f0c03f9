#include "platform/utility/ProfileFile.h"

#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "host/PrivateFiles.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace platform {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The file's lines without their endings, and what is needed to write it back as it was.
struct ProfileText {
  std::string byteOrderMark;
  std::vector<std::string> lines;
  std::string lineEnd = "\r\n";
  bool endsWithLineEnd = true;
};

// A missing file is an empty text; one that is there but cannot be read is error 75, as
// defaults in its place could send a host's data elsewhere.
ProfileText Load(const std::string& path, const char* source) {
  ProfileText text;
  std::string content;
  if (const std::error_code error = host::ReadRegularFile(path, content)) {
    if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
      return text;
    }
    throw runtime::Error(runtime::kPathFileAccessError,
                         runtime::StandardDescription(runtime::kPathFileAccessError) +
                             ": cannot read " + path + ": " + error.message(),
                         source);
  }
  if (content.starts_with(kByteOrderMark)) {
    text.byteOrderMark = kByteOrderMark;
    content.erase(0, kByteOrderMark.size());
  }
  if (content.empty()) return text;
  size_t firstBreak = content.find('\n');
  if (firstBreak != std::string::npos && (firstBreak == 0 || content[firstBreak - 1] != '\r')) {
    text.lineEnd = "\n";
  }
  text.endsWithLineEnd = content.back() == '\n';
  for (size_t start = 0; start < content.size();) {
    size_t end = std::min(content.find('\n', start), content.size());
    std::string line = content.substr(start, end - start);
    if (line.ends_with('\r')) line.pop_back();
    text.lines.push_back(std::move(line));
    start = end + 1;
  }
  return text;
}

std::string_view TrimBlanks(std::string_view text) {
  size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

struct Line {
  enum class Kind { Other, Comment, Section, Key } kind = Kind::Other;
  std::string_view name;
  std::string_view value;
};

Line ParseLine(std::string_view text) {
  text = TrimBlanks(text);
  if (text.empty()) return {};
  if (text.front() == ';') return {Line::Kind::Comment, {}, {}};
  if (text.front() == '[') {
    size_t close = text.find(']');
    if (close == std::string_view::npos) return {};
    return {Line::Kind::Section, TrimBlanks(text.substr(1, close - 1)), {}};
  }
  size_t equals = text.find('=');
  if (equals == std::string_view::npos) return {};
  return {Line::Kind::Key, TrimBlanks(text.substr(0, equals)), TrimBlanks(text.substr(equals + 1))};
}

// Where a key stands in the first section of its name, or where the section's content
// ends (its last line that is neither blank nor a comment).
struct Location {
  std::optional<size_t> keyLine;
  std::optional<size_t> sectionEnd;
};

Location Locate(const ProfileText& text, std::string_view section, std::string_view key) {
  section = TrimBlanks(section);
  key = TrimBlanks(key);
  Location location;
  for (size_t i = 0; i < text.lines.size(); ++i) {
    Line line = ParseLine(text.lines[i]);
    if (line.kind == Line::Kind::Section) {
      if (location.sectionEnd) break;
      if (runtime::EqualsNoCase(line.name, section)) location.sectionEnd = i;
    } else if (location.sectionEnd && line.kind != Line::Kind::Comment &&
               !TrimBlanks(text.lines[i]).empty()) {
      if (line.kind == Line::Kind::Key && runtime::EqualsNoCase(line.name, key)) {
        location.keyLine = i;
        return location;
      }
      location.sectionEnd = i;
    }
  }
  return location;
}

std::optional<std::string> Value(const std::string& path, std::string_view section,
                                 std::string_view key) {
  const ProfileText text = Load(path, "ProfileFile.Read");
  Location location = Locate(text, section, key);
  if (!location.keyLine) return std::nullopt;
  return std::string(ParseLine(text.lines[*location.keyLine]).value);
}

void RequireWritable(bool ok, std::string_view what) {
  if (!ok) {
    throw runtime::Error(
        runtime::kInvalidProcedureCall,
        runtime::StandardDescription(runtime::kInvalidProcedureCall) + ": " + std::string(what),
        "ProfileFile.WriteString");
  }
}

runtime::Error AccessError(const std::string& path) {
  return runtime::Error(runtime::kPathFileAccessError,
                        runtime::StandardDescription(runtime::kPathFileAccessError) + ": " + path,
                        "ProfileFile.WriteString");
}

void Save(const std::string& path, const ProfileText& text) {
  std::string content = text.byteOrderMark;
  for (size_t i = 0; i < text.lines.size(); ++i) {
    content += text.lines[i];
    if (i + 1 < text.lines.size() || text.endsWithLineEnd) content += text.lineEnd;
  }
  if (host::ReplaceFile(path, content)) throw AccessError(path);
}

}  // namespace

ProfileFile::ProfileFile(std::string path) : path_(std::move(path)) {}

std::string ProfileFile::ReadString(const std::string& section, const std::string& key,
                                    const std::string& fallback) const {
  return Value(path_, section, key).value_or(fallback);
}

int32_t ProfileFile::ReadInteger(const std::string& section, const std::string& key,
                                 int32_t fallback) const {
  std::optional<std::string> value = Value(path_, section, key);
  if (!value) return fallback;
  std::string_view text = *value;
  bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  int64_t number = 0;
  size_t digits = 0;
  for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
    number = number * 10 + (text[digits] - '0');
    if (number > int64_t{std::numeric_limits<int32_t>::max()} + 1) return fallback;
  }
  if (digits == 0) return fallback;
  if (negative) number = -number;
  if (number > std::numeric_limits<int32_t>::max()) return fallback;
  return static_cast<int32_t>(number);
}

void ProfileFile::WriteString(const std::string& section, const std::string& key,
                              const std::string& value) {
  auto oneLine = [](std::string_view text) {
    return text.find_first_of("\r\n") == std::string_view::npos;
  };
  std::string_view trimmedKey = TrimBlanks(key);
  RequireWritable(
      !TrimBlanks(section).empty() && oneLine(section) && section.find(']') == std::string::npos,
      "the section name \"" + section + "\" cannot stand in a profile file");
  RequireWritable(!trimmedKey.empty() && oneLine(key) && key.find('=') == std::string::npos &&
                      trimmedKey.front() != ';' && trimmedKey.front() != '[',
                  "the key \"" + key + "\" cannot stand in a profile file");
  RequireWritable(oneLine(value), "a profile file value must be one line");

  ProfileText text = Load(path_, "ProfileFile.WriteString");
  Location location = Locate(text, section, key);
  std::string line = std::string(trimmedKey) + "=" + value;
  if (location.keyLine) {
    text.lines[*location.keyLine] = std::move(line);
  } else if (location.sectionEnd) {
    text.lines.insert(text.lines.begin() + *location.sectionEnd + 1, std::move(line));
  } else {
    if (!text.lines.empty() && !TrimBlanks(text.lines.back()).empty()) text.lines.emplace_back();
    text.lines.push_back("[" + std::string(TrimBlanks(section)) + "]");
    text.lines.push_back(std::move(line));
  }
  Save(path_, text);
}

}  // namespace platform
