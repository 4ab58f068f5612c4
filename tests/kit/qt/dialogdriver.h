#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QMetaEnum>
#include <QQueue>
#include <QTest>
#include <QTimer>

#include <functional>

/// Answers the message boxes that come up during a test. The test says beforehand which answers it will give; a box
/// beyond those, one that its answer leaves open, and an answer that no box came for fail the test.
class DialogDriver : public QObject
{
public:
    /// Looks at a box and has to close it.
    using Answer = std::function<void(QMessageBox &)>;

    DialogDriver()
    {
        qApp->installEventFilter(this);
    }
    ~DialogDriver() override
    {
        if (!m_answers.isEmpty())
            QTest::qFail("An expected message box never came", __FILE__, __LINE__);
    }
    Q_DISABLE_COPY(DialogDriver)

    /// The next box that has no answer yet gets \a answer.
    void expect(const Answer &answer)
    {
        m_answers.enqueue(answer);
    }
    void expect(QMessageBox::StandardButton button)
    {
        expect(clicking(button));
    }
    /// The answer that clicks \a button, if the box has it.
    [[nodiscard]] static Answer clicking(QMessageBox::StandardButton button)
    {
        return [button](QMessageBox &box) {
            if (QAbstractButton *found = box.button(button))
                found->click();
        };
    }

    /// What the boxes showed so far: "Icon: title [buttons] text".
    [[nodiscard]] const QStringList &boxes() const
    {
        return m_boxes;
    }

private:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *box = qobject_cast<QMessageBox *>(watched);
        // It is answered once it has its own event loop.
        if (box != nullptr && event->type() == QEvent::Show)
            QTimer::singleShot(0, box, [this, box] { answer(*box); });
        return false;
    }

    void answer(QMessageBox &box)
    {
        const auto icons = QMetaEnum::fromType<QMessageBox::Icon>();
        const auto known = QMetaEnum::fromType<QMessageBox::StandardButtons>();
        QStringList buttons;
        for (QAbstractButton *button : box.buttons())
            buttons.append(known.valueToKey(box.standardButton(button)));
        m_boxes.append(QString("%1: %2 [%3] %4")
                           .arg(icons.valueToKey(box.icon()), box.windowTitle(), buttons.join('|'), box.text()));
        if (!m_answers.isEmpty())
            m_answers.dequeue()(box);
        if (box.isVisible()) {
            QTest::qFail(qUtf8Printable("Nothing closed the box: " + m_boxes.last()), __FILE__, __LINE__);
            box.done(QMessageBox::NoButton);
        }
    }

    QQueue<Answer> m_answers;
    QStringList m_boxes;
};
