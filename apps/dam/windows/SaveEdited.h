// Saving a configuration a user edited in the setup dialog, asking them where a plain
// write would overwrite someone else's change or lose their own.
#pragma once

#include <optional>
#include <string>

namespace dam {

enum class SaveOutcome {
  kSaved,
  // The file was changed by someone else and the user chose to keep it: their text is in
  // `path`.mine, which `message` names.
  kKeptAside,
  // The write failed; the box that said so is closed and `message` says why.
  kFailed,
};

// Writes `text` to `path` (WriteConfigurationFile, `read` being the text the editor read).
// A file changed since is not overwritten without asking: a question box offers to
// overwrite it or to keep the text aside. A failure is shown in a box.
SaveOutcome SaveEdited(const std::string& path, const std::string& text,
                       const std::optional<std::string>& read, std::string& message);

}  // namespace dam
