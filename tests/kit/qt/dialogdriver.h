#pragma once

#include <QMessageBox>
#include <QObject>
#include <QQueue>
#include <QString>
#include <QVector>

#include <functional>

/// What a message box showed.
struct ShownBox
{
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons = QMessageBox::NoButton;
};

[[nodiscard]] bool operator==(const ShownBox &a, const ShownBox &b);
/// Lets QCOMPARE print boxes.
[[nodiscard]] char *toString(const ShownBox &box);

/// Answers the message boxes that come up during a test as a user would, by a click or a key. The test says beforehand
/// which answers it will give; a box beyond those, any other dialog, and an answer that no box came for fail the test.
class DialogDriver : public QObject
{
public:
    using Answer = std::function<void(QMessageBox &)>;

    DialogDriver();
    ~DialogDriver() override;
    Q_DISABLE_COPY(DialogDriver)

    /// The next box is answered by a click on its button \a button.
    void expectAndClick(QMessageBox::StandardButton button);
    /// The next box is answered by pressing \a key.
    void expectAndPress(Qt::Key key);
    /// The next box is handed to \a answer, which looks at it and has to close it.
    void expect(const Answer &answer);

    /// Clicks the button \a button of \a box.
    static void click(QMessageBox &box, QMessageBox::StandardButton button);

    /// The boxes that came up so far.
    [[nodiscard]] const QVector<ShownBox> &boxes() const
    {
        return m_boxes;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void answer(QMessageBox &box);

    QQueue<Answer> m_answers;
    QVector<ShownBox> m_boxes;
};
