#include "test_support/modal_box_driver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QPointer>
#include <algorithm>

namespace TestSupport
{

namespace
{

QString plainText(QString text) { return text.remove('&'); }

QString dialogText(QDialog* dialog)
{
    if (auto* box = qobject_cast<QMessageBox*>(dialog))
        return box->text();
    return QString();
}

}  // namespace

ModalBoxDriver::ModalBoxDriver(int intervalMs, QObject* parent) : QObject(parent)
{
    timer_.setInterval(intervalMs);
    QObject::connect(&timer_, &QTimer::timeout, this, &ModalBoxDriver::poll);
    timer_.start();
}

ModalBoxDriver& ModalBoxDriver::press(const QString& title, const QString& text,
                                      QMessageBox::StandardButton button, int times)
{
    Rule rule;
    rule.title = title;
    rule.text = text;
    rule.button = button;
    rule.remaining = times;
    rules_.push_back(rule);
    return *this;
}

ModalBoxDriver& ModalBoxDriver::pressText(const QString& title, const QString& text,
                                          const QString& buttonText, int times)
{
    Rule rule;
    rule.title = title;
    rule.text = text;
    rule.buttonText = plainText(buttonText);
    rule.remaining = times;
    rules_.push_back(rule);
    return *this;
}

ModalBoxDriver& ModalBoxDriver::finish(const QString& title, int result, int times)
{
    Rule rule;
    rule.title = title;
    rule.useResult = true;
    rule.result = result;
    rule.remaining = times;
    rules_.push_back(rule);
    return *this;
}

int ModalBoxDriver::answeredCount() const
{
    return static_cast<int>(
        std::count_if(seen_.begin(), seen_.end(), [](const Seen& s) { return s.expected; }));
}

int ModalBoxDriver::unexpectedCount() const
{
    return static_cast<int>(seen_.size()) - answeredCount();
}

void ModalBoxDriver::poll()
{
    for (QWidget* widget : QApplication::topLevelWidgets())
    {
        auto* dialog = qobject_cast<QDialog*>(widget);
        if (!dialog || !dialog->isVisible())
            continue;
        const QString title = dialog->windowTitle();
        const QString text = dialogText(dialog);
        auto rule = std::find_if(rules_.begin(), rules_.end(),
                                 [&](const Rule& r) {
                                     return r.remaining != 0 && title.contains(r.title) &&
                                            text.contains(r.text);
                                 });
        if (rule == rules_.end())
        {
            // A box that no rule expects: noted once, and rejected when it is a message box.
            if (!qobject_cast<QMessageBox*>(dialog))
                continue;
            if (std::any_of(handled_.begin(), handled_.end(),
                            [dialog](const QPointer<QObject>& h) { return h == dialog; }))
                continue;
            handled_.push_back(dialog);
            seen_.push_back({dialog->metaObject()->className(), title, text, false});
            if (rejectUnexpected_)
                dialog->reject();
            continue;
        }
        seen_.push_back({dialog->metaObject()->className(), title, text, true});
        if (rule->remaining > 0)
            --rule->remaining;
        if (rule->useResult)
        {
            dialog->done(rule->result);
        }
        else if (auto* box = qobject_cast<QMessageBox*>(dialog);
                 box && rule->button != QMessageBox::NoButton)
        {
            if (QAbstractButton* button = box->button(rule->button))
                button->click();
        }
        else
        {
            for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>())
                if (plainText(button->text()) == rule->buttonText)
                {
                    button->click();
                    break;
                }
        }
        return;  // one answer per turn: the answer may have changed the window list
    }
}

}  // namespace TestSupport
