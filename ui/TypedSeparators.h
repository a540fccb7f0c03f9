// Dates and times typed as they are shown: "2030-01-02" into a yyyy-MM-dd box, "03:04:05"
// into an HH:mm:ss box. A section that fills up moves on to the next by itself, so the
// separator typed right after it is the one already passed: it is taken as typed instead
// of skipping one more section. Digits alone work as before.
#pragma once

class QDateTimeEdit;

namespace ui {

void AcceptTypedSeparators(QDateTimeEdit& box);

}  // namespace ui
