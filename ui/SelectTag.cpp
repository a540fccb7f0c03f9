#include "ui/SelectTag.h"

#include <QApplication>

#include "ui/frmTagSetup.h"

namespace ui {

bool SelectTag(host::Components& components, const config::Configuration1& configuration,
               std::string& text) {
  frmTagSetup form(components, QApplication::activeWindow());
  form.SetDataLink(configuration.DataLink());
  form.SetValue(text);
  form.ShowModal();
  if (!form.OKPressed()) return false;
  text = form.Value();
  return true;
}

}  // namespace ui
