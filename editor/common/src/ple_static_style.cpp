#include "particle_layout_editor/ple_static_style.h"

#include <QApplication>
#include <QPalette>

namespace Ple
{

StaticStyle::StaticStyle() : QWidget(nullptr)
{
    setAttribute(Qt::WA_DontShowOnScreen);
    hide();
}

void StaticStyle::setup(StaticStyle* style)
{
    QPointer<StaticStyle> guarded(style);
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, qApp,
                     [guarded] { delete guarded.data(); });
    style->ensurePolished();
}

LinksStyle::LinksStyle() { setObjectName("LinksStyle"); }

void LinksStyle::setLinkColor(const QColor& color)
{
    if (color == linkColor_)
        return;
    linkColor_ = color;
    applyToPalette();
}

void LinksStyle::setLinkVisitedColor(const QColor& color)
{
    if (color == linkVisitedColor_)
        return;
    linkVisitedColor_ = color;
    applyToPalette();
}

void LinksStyle::applyToPalette()
{
    QPalette palette = QApplication::palette();
    const QPalette before = palette;
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
    {
        palette.setColor(group, QPalette::Link, linkColor_);
        palette.setColor(group, QPalette::LinkVisited, linkVisitedColor_);
    }
    // Setting an equal palette would still re-polish every widget, which would
    // set our properties again.
    if (palette == before)
        return;
    QApplication::setPalette(palette);
}

}  // namespace Ple
