#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QMetaEnum>
#include <QQueue>
#include <QTest>
#include <QTimer>

#include <functional>

/// Answers the message boxes that come up during a test as a user would, by a click or a key. The test says beforehand
/// which answers it will give; a box beyond those, one that its answer leaves open, and an answer that no box came
/// for fail the test.
class DialogDriver : public QObject
{
public:
    using Answer = std::function<void(QMessageBox &)>;

    DialogDriver()
    {
        qApp->installEventFilter(this);
    }
    ~DialogDriver() override
    {
        if (!m_answers.isEmpty())
            fail(QString("%1 expected message box(es) never came").arg(m_answers.size()));
    }
    Q_DISABLE_COPY(DialogDriver)

    /// The next box is handed to \a answer, which looks at it and has to close it.
    void expect(const Answer &answer)
    {
        m_answers.enqueue(answer);
    }
    /// The next box is answered by a click on its button \a button.
    void expectAndClick(QMessageBox::StandardButton button)
    {
        expect([button](QMessageBox &box) { click(box, button); });
    }

    /// Clicks the button \a button of \a box, if there is one.
    static void click(QMessageBox &box, QMessageBox::StandardButton button)
    {
        if (QAbstractButton *found = box.button(button))
            QTest::mouseClick(found, Qt::LeftButton);
    }

    /// What the boxes showed so far: "Icon: title [buttons] text".
    [[nodiscard]] const QStringList &boxes() const
    {
        return m_boxes;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *box = qobject_cast<QMessageBox *>(watched);
        // It is answered once it has its own event loop.
        if (box != nullptr && event->type() == QEvent::Show)
            QTimer::singleShot(0, box, [this, box] { answer(*box); });
        return false;
    }

private:
    static void fail(const QString &message)
    {
        QTest::qFail(qPrintable(message), __FILE__, __LINE__);
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
            fail("Nothing closed the box: " + m_boxes.last());
            box.done(QMessageBox::NoButton);
        }
    }

    QQueue<Answer> m_answers;
    QStringList m_boxes;
};
