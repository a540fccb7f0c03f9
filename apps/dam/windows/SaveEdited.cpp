#include "apps/dam/windows/SaveEdited.h"

#include <QMessageBox>
#include <QPushButton>

#include "apps/dam/host/ConfigFile.h"
#include "apps/shared/Failures.h"
#include "platform/odbc/ConnectionSecrets.h"

namespace dam {
namespace {

// Whether the user wants their text over the file someone else changed.
bool Overwrite(const std::string& path) {
  QMessageBox box(QMessageBox::Warning, "Configuration changed",
                  QString::fromStdString(path + " was changed by someone else since it was "
                                                "read. Overwrite their change with yours?"));
  box.setObjectName("msgChanged");
  QPushButton* overwrite = box.addButton("&Overwrite", QMessageBox::AcceptRole);
  QPushButton* aside = box.addButton("&Keep theirs", QMessageBox::RejectRole);
  box.setInformativeText(QString::fromStdString(
      "Keep theirs leaves the file as it is and puts your text in " + path + ".mine."));
  box.setDefaultButton(aside);
  box.setEscapeButton(aside);
  box.exec();
  return box.clickedButton() == overwrite;
}

}  // namespace

SaveOutcome SaveEdited(const std::string& path, const std::string& text,
                       const std::optional<std::string>& read, std::string& message) {
  try {
    try {
      WriteConfigurationFile(path, text, read);
    } catch (const ChangedMeanwhile&) {
      if (Overwrite(path)) {
        WriteConfigurationFile(path, text, ConfigurationNow(path));
      } else {
        const std::string mine = path + ".mine";
        WriteConfigurationFile(mine, text, ConfigurationNow(mine));
        message =
            path + " was changed by someone else and is left as it is; your text is in " + mine;
        return SaveOutcome::kKeptAside;
      }
    }
    return SaveOutcome::kSaved;
  } catch (...) {
    message = platform::MaskConnectionSecrets(apps::FailureText(std::current_exception(), false));
  }
  QMessageBox box(QMessageBox::Critical, "Configuration not saved",
                  QString::fromStdString(message));
  box.setObjectName("msgNotSaved");
  box.setInformativeText("Your changes are shown again: OK tries again, Cancel gives them up.");
  box.exec();
  return SaveOutcome::kFailed;
}

}  // namespace dam
