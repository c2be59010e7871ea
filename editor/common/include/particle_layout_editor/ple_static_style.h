#pragma once

#include <QColor>
#include <QPointer>
#include <QWidget>

namespace Ple
{

// A hidden widget that takes values from the application's stylesheet through
// Qt properties (qproperty-<name> in a "Ple--<Class>" rule) and applies them
// where a stylesheet can't reach. One instance per subclass, made by inst<T>(),
// deleted when the application is about to quit.
class StaticStyle : public QWidget
{
    Q_OBJECT

public:
    template <class T>
    static T* inst()
    {
        static QPointer<T> instance;
        if (!instance)
        {
            instance = new T();
            setup(instance);
        }
        return instance;
    }

protected:
    StaticStyle();

private:
    // Hides the widget, ties it to the application's end and polishes it, which
    // reads the stylesheet's values into the properties.
    static void setup(StaticStyle* style);
};

// Colours of links in rich text (palette roles Link and LinkVisited), set into
// the application's palette for all colour groups when they change.
class LinksStyle : public StaticStyle
{
    Q_OBJECT
    Q_PROPERTY(QColor linkColor READ linkColor WRITE setLinkColor)
    Q_PROPERTY(QColor linkVisitedColor READ linkVisitedColor WRITE setLinkVisitedColor)

public:
    LinksStyle();

    QColor linkColor() const { return linkColor_; }
    QColor linkVisitedColor() const { return linkVisitedColor_; }
    void setLinkColor(const QColor& color);
    void setLinkVisitedColor(const QColor& color);

private:
    void applyToPalette();

    QColor linkColor_ = Qt::blue;
    QColor linkVisitedColor_ = Qt::blue;
};

}  // namespace Ple
