#pragma once
#include <QAbstractButton>
#include <QHash>
#include <QMessageBox>
#include <QString>
#include <functional>
#include <optional>

// A question whose buttons stand for values: the answer is the value of the button clicked,
// or nullopt for the one that cancels (and when the box is closed without a click).
template <typename Value>
struct Choice {
    QString text;
    std::optional<Value> value;  // nullopt: the button that cancels
};

template <typename Value>
QMessageBox* askQuestion(QWidget* parent, const QString& title, const QString& text,
                         const QList<Choice<Value>>& choices, std::function<void(std::optional<Value>)> answer)
{
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, text, QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    auto values = std::make_shared<QHash<QAbstractButton*, Value>>();
    for (const Choice<Value>& choice : choices) {
        QAbstractButton* button =
            box->addButton(choice.text, choice.value ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
        if (choice.value)
            values->insert(button, *choice.value);
        else
            box->setEscapeButton(button);
    }
    auto answered = std::make_shared<bool>(false);
    QObject::connect(box, &QMessageBox::buttonClicked, box, [values, answer, answered](QAbstractButton* button) {
        *answered = true;
        const auto found = values->constFind(button);
        answer(found == values->constEnd() ? std::nullopt : std::optional<Value>(*found));
    });
    QObject::connect(box, &QDialog::finished, box, [answer, answered] {
        if (!*answered) {
            *answered = true;
            answer(std::nullopt);
        }
    });
    box->open();
    return box;
}
