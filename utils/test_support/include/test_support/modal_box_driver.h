#pragma once

#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <vector>

namespace TestSupport
{

// Answers the dialogs and message boxes that a test provokes, also those run by exec(),
// from a timer that looks at the visible windows. A rule matches a box whose title and text
// contain the given parts (an empty part matches anything) and says how to answer it.
// Boxes that match no rule are recorded; unexpected message boxes are also rejected, so
// that a wrong turn fails the test instead of hanging it.
class ModalBoxDriver : public QObject
{
public:
    struct Seen
    {
        QString className;
        QString title;
        QString text;
        bool expected = false;
    };

    explicit ModalBoxDriver(int intervalMs = 10, QObject* parent = nullptr);

    // Presses a standard button of a QMessageBox.
    ModalBoxDriver& press(const QString& title, const QString& text,
                          QMessageBox::StandardButton button, int times = -1);
    // Presses the button with this text (mnemonic marks ignored) of any dialog.
    ModalBoxDriver& pressText(const QString& title, const QString& text, const QString& buttonText,
                              int times = -1);
    // Ends a dialog with QDialog::done(result).
    ModalBoxDriver& finish(const QString& title, int result, int times = -1);

    void setRejectUnexpected(bool reject) { rejectUnexpected_ = reject; }
    const std::vector<Seen>& seen() const { return seen_; }
    int answeredCount() const;
    int unexpectedCount() const;

private:
    struct Rule
    {
        QString title;
        QString text;
        QMessageBox::StandardButton button = QMessageBox::NoButton;
        QString buttonText;
        bool useResult = false;
        int result = 0;
        int remaining = -1;
    };

    void poll();

    QTimer timer_;
    std::vector<Rule> rules_;
    std::vector<Seen> seen_;
    std::vector<QPointer<QObject>> handled_;
    bool rejectUnexpected_ = true;
};

}  // namespace TestSupport
