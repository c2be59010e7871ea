#pragma once

class QDialog;
class QLabel;
class QPushButton;

namespace Ple
{
namespace Ui
{

// The form of the about dialog: logo, title, version, address, copyright and a button.
class AboutDialog
{
public:
    QLabel* logo = nullptr;
    QLabel* title = nullptr;
    QLabel* version = nullptr;
    QLabel* url = nullptr;
    QLabel* copyright = nullptr;
    QPushButton* button = nullptr;

    void setupUi(QDialog* dialog);
};

}  // namespace Ui
}  // namespace Ple
