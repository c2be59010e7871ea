#include "qt_ext/qt_ext_style.h"

#include <QStyle>
#include <QVariant>
#include <QWidget>

namespace QtExt
{

void setStyleProperty(QWidget* widget, const char* name, const QVariant& value)
{
    if (widget == nullptr)
        return;
    if (widget->property(name) == value)
        return;
    widget->setProperty(name, value);
    QStyle* style = widget->style();
    style->unpolish(widget);
    style->polish(widget);
    widget->update();
}

}  // namespace QtExt
