#include "particle_layout_editor/ple_welcome_dialog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPixmap>
#include <QToolButton>
#include <QVBoxLayout>

#include "particle_layout_editor/ple_project_recents.h"
#include "qt_ext/qt_ext_signals.h"

namespace Ple
{

WelcomeDialog::WelcomeDialog(QWidget* parent, std::shared_ptr<ProjectRecents> recents)
    : QDialog(parent, Qt::Tool), recents_(std::move(recents))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName("WelcomeDialog");
    setWindowTitle(tr("Welcome"));

    auto* layout = new QVBoxLayout(this);
    auto* logo = new QLabel(this);
    logo->setObjectName("logo");
    logo->setPixmap(QPixmap(":/editor/images/logo128.png"));
    logo->setAlignment(Qt::AlignCenter);
    layout->addWidget(logo);

    auto* grid = new QGridLayout();
    layout->addLayout(grid);
    QToolButton* newProject =
        addButton(grid, 0, "newProject", ":/editor/images/new_project.png", tr("New Project"));
    QToolButton* openProject =
        addButton(grid, 1, "openProject", ":/editor/images/open_project.png", tr("Open Project"));
    QToolButton* openSamples =
        addButton(grid, 2, "openSamples", ":/editor/images/open_samples.png", tr("Open Samples"));
    const bool samples = isSamplesProjectAvailable();
    openSamples->setEnabled(samples);
    findChild<QLabel*>("openSamplesLabel")->setEnabled(samples);

    recentsGroup_ = new QGroupBox(tr("Recent projects"), this);
    recentsGroup_->setObjectName("recentsGroup");
    new QVBoxLayout(recentsGroup_);
    layout->addWidget(recentsGroup_);

    QT_CHECKED_CONNECT(newProject, &QToolButton::clicked, this,
                       &WelcomeDialog::createProjectClicked);
    QT_CHECKED_CONNECT(openProject, &QToolButton::clicked, this,
                       &WelcomeDialog::openProjectClicked);
    QT_CHECKED_CONNECT(openSamples, &QToolButton::clicked, this, &WelcomeDialog::samplesClicked);
    QT_CHECKED_CONNECT(this, &WelcomeDialog::stylePropertyChanged, this,
                       &WelcomeDialog::updateRecents);
    updateRecents();
}

QToolButton* WelcomeDialog::addButton(QGridLayout* grid, int column, const char* objectName,
                                      const QString& image, const QString& text)
{
    auto* button = new QToolButton(this);
    button->setObjectName(objectName);
    button->setIcon(QIcon(image));
    button->setIconSize(QSize(64, 64));
    button->setAutoRaise(true);
    // The label under the icon carries the name; the button also reads it for accessibility.
    button->setToolTip(text);
    auto* label = new QLabel(text, this);
    label->setObjectName(QString(objectName) + "Label");
    label->setAlignment(Qt::AlignCenter);
    grid->addWidget(button, 0, column, Qt::AlignCenter);
    grid->addWidget(label, 1, column, Qt::AlignCenter);
    return button;
}

QString WelcomeDialog::samplesProjectPath()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath("samples/Samples.sxproj");
}

bool WelcomeDialog::isSamplesProjectAvailable() { return QFileInfo(samplesProjectPath()).isFile(); }

void WelcomeDialog::setRecentProjectColor(const QColor& color)
{
    if (color == recentProjectColor_)
        return;
    recentProjectColor_ = color;
    emit stylePropertyChanged();
}

void WelcomeDialog::updateRecents()
{
    for (QWidget* child :
         recentsGroup_->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
        delete child;
    const QString color = recentProjectColor_.name();
    for (std::size_t i = 0; i < recents_->numEntries(); ++i)
    {
        const QString path = QString::fromStdString(recents_->entry(i).string());
        auto* label = new QLabel(recentsGroup_);
        label->setObjectName("recent" + QString::number(i));
        label->setTextFormat(Qt::RichText);
        if (recents_->doesEntryExistsOnDisk(i))
        {
            label->setText(QString("<a href=\"%1\"><span style=\" text-decoration: underline; "
                                   "color:%2;\">%1</span></a>")
                               .arg(path.toHtmlEscaped(), color));
            label->setTextInteractionFlags(Qt::LinksAccessibleByMouse |
                                           Qt::LinksAccessibleByKeyboard);
            // The href is escaped HTML; the path itself is captured here.
            QT_CHECKED_CONNECT(label, &QLabel::linkActivated, this,
                               [this, path](const QString&) { recentClicked(path); });
        }
        else
        {
            label->setText(
                QString("<span style=\" text-decoration: line-through; color:%2;\">%1</span>")
                    .arg(path.toHtmlEscaped(), color));
        }
        recentsGroup_->layout()->addWidget(label);
    }
}

void WelcomeDialog::recentClicked(const QString& path)
{
    emit openProject(path, false);
    accept();
}

void WelcomeDialog::samplesClicked()
{
    emit openProject(samplesProjectPath(), true);
    accept();
}

}  // namespace Ple
