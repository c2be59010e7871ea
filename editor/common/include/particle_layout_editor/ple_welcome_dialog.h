#pragma once

#include <QColor>
#include <QDialog>
#include <QString>
#include <memory>

class QGridLayout;
class QGroupBox;
class QToolButton;

namespace Ple
{

class ProjectRecents;

// The dialog shown while no project is open: new, open, samples, and the recent projects
// as links. Recent projects that are gone from the disk show struck through.
class WelcomeDialog : public QDialog
{
    Q_OBJECT
    Q_PROPERTY(QColor recentProjectColor READ recentProjectColor WRITE setRecentProjectColor)

public:
    WelcomeDialog(QWidget* parent, std::shared_ptr<ProjectRecents> recents);

    static QString samplesProjectPath();
    static bool isSamplesProjectAvailable();

    QColor recentProjectColor() const { return recentProjectColor_; }
    void setRecentProjectColor(const QColor& color);

signals:
    void createProjectClicked();
    void openProjectClicked();
    void openProject(QString path, bool samplesProject);
    void stylePropertyChanged();

private:
    QToolButton* addButton(QGridLayout* grid, int column, const char* objectName,
                           const QString& image, const QString& text);
    void updateRecents();
    void recentClicked(const QString& path);
    void samplesClicked();

    std::shared_ptr<ProjectRecents> recents_;
    QGroupBox* recentsGroup_ = nullptr;
    QColor recentProjectColor_ = QColor(0xff);
};

}  // namespace Ple
