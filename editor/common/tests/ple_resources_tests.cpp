#include <QFile>
#include <QFontDatabase>
#include <QIcon>
#include <QRegularExpression>
#include <QSet>
#include <QTextStream>

#include <gtest/gtest.h>

// Outside any namespace: Q_INIT_RESOURCE declares the init functions where it stands.
static void initResources()
{
    Q_INIT_RESOURCE(editor);
    Q_INIT_RESOURCE(style);
    Q_INIT_RESOURCE(textedit);
}

TEST(EditorResources, DarkStylesheetFindsEveryImageItNames)
{
    initResources();
    QFile file(":qdarkstyle/style.qss");
    ASSERT_TRUE(file.exists());
    ASSERT_TRUE(file.open(QFile::ReadOnly | QFile::Text));
    const QString sheet = QTextStream(&file).readAll();
    EXPECT_GT(sheet.size(), 1000);
    QSet<QString> images;
    QRegularExpressionMatchIterator it =
        QRegularExpression("url\\(\"?(:[^\")]+)\"?\\)").globalMatch(sheet);
    while (it.hasNext())
        images.insert(it.next().captured(1));
    EXPECT_GT(images.size(), 10);
    for (const QString& image : images)
        EXPECT_TRUE(QFile::exists(image)) << image.toStdString();
}

TEST(EditorResources, ApplicationFontsLoad)
{
    initResources();
    for (const char* font : {":/editor/fonts/Sarala-Regular.ttf", ":/editor/fonts/Sarala-Bold.ttf"})
    {
        const int id = QFontDatabase::addApplicationFont(font);
        EXPECT_GE(id, 0) << font;
        EXPECT_FALSE(QFontDatabase::applicationFontFamilies(id).isEmpty()) << font;
    }
}

TEST(EditorResources, IconsRender)
{
    initResources();
    for (const char* icon : {":/editor/icons/scintari.svg", ":/editor/icons/export.svg",
                             ":/textedit/icons/textbold.svg", ":/textedit/icons/textitalic.svg",
                             ":/textedit/icons/textlink.svg"})
    {
        const QPixmap pixmap = QIcon(icon).pixmap(16, 16);
        EXPECT_FALSE(pixmap.isNull()) << icon;
    }
}
