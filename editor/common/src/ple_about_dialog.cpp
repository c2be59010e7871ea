#include "particle_layout_editor/ple_about_dialog.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace Ple
{
namespace Ui
{

void AboutDialog::setupUi(QDialog* dialog)
{
    dialog->setWindowTitle(QDialog::tr("About"));
    auto* layout = new QHBoxLayout(dialog);
    logo = new QLabel(dialog);
    logo->setObjectName("logo");
    logo->setPixmap(QPixmap(":/editor/images/logo128.png"));
    logo->setAlignment(Qt::AlignTop);
    layout->addWidget(logo);

    auto* column = new QVBoxLayout();
    layout->addLayout(column);
    auto makeLabel = [&](const char* name, const QString& text)
    {
        auto* label = new QLabel(text, dialog);
        label->setObjectName(name);
        column->addWidget(label);
        return label;
    };
    title = makeLabel("title", QStringLiteral("<b>ScintariParticles Editor</b>"));
    version = makeLabel("version", QString());
    url = makeLabel("url", QStringLiteral("<a href=\"https://scintari.example\">"
                                          "https://scintari.example</a>"));
    url->setOpenExternalLinks(true);
    copyright = makeLabel("copyright", QDialog::tr("Copyright \u00a9 The Scintari authors"));
    column->addStretch(1);

    button = new QPushButton(QDialog::tr("Close"), dialog);
    button->setObjectName("button");
    button->setDefault(true);
    column->addWidget(button, 0, Qt::AlignRight);
}

}  // namespace Ui
}  // namespace Ple
