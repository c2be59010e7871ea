#pragma once

class QWidget;
class QVariant;

namespace QtExt
{

// Sets a dynamic property that stylesheet selectors test ([name="value"]) and
// re-polishes the widget so that the stylesheet takes the new value at once.
void setStyleProperty(QWidget* widget, const char* name, const QVariant& value);

}  // namespace QtExt
