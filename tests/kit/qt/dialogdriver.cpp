#include "kit/qt/dialogdriver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <tuple>

namespace {

/// A box that its answer left open is closed after so many milliseconds, so that the test ends.
constexpr int longestAnswer = 5000;

void fail(const QString &message)
{
    QTest::qFail(qPrintable(message), __FILE__, __LINE__);
}

} // namespace

bool operator==(const ShownBox &a, const ShownBox &b)
{
    return std::tie(a.icon, a.title, a.text) == std::tie(b.icon, b.title, b.text) && a.buttons == b.buttons;
}

char *toString(const ShownBox &box)
{
    return qstrdup(qPrintable(
        QStringLiteral("icon %1, title \"%2\", text \"%3\", buttons 0x%4")
            .arg(QString::number(box.icon), box.title, box.text, QString::number(static_cast<int>(box.buttons), 16))));
}

DialogDriver::DialogDriver()
{
    qApp->installEventFilter(this);
}

DialogDriver::~DialogDriver()
{
    if (!m_answers.isEmpty())
        fail(QStringLiteral("%1 expected message box(es) never came").arg(m_answers.size()));
}

void DialogDriver::click(QMessageBox &box, QMessageBox::StandardButton button)
{
    // A box without that button stays open, which fails the test.
    if (QAbstractButton *found = box.button(button))
        QTest::mouseClick(found, Qt::LeftButton);
}

void DialogDriver::expectAndClick(QMessageBox::StandardButton button)
{
    expect([button](QMessageBox &box) { click(box, button); });
}

void DialogDriver::expectAndPress(Qt::Key key)
{
    expect([key](QMessageBox &box) { QTest::keyClick(&box, key); });
}

void DialogDriver::expect(const Answer &answer)
{
    m_answers.enqueue(answer);
}

bool DialogDriver::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::Show)
        return false;
    auto *dialog = qobject_cast<QDialog *>(watched);
    if (dialog == nullptr)
        return false;
    if (auto *box = qobject_cast<QMessageBox *>(dialog)) {
        // Once the box has its own event loop.
        QTimer::singleShot(0, box, [this, box] { answer(*box); });
    } else {
        fail(QStringLiteral("Unexpected dialog \"%1\"").arg(dialog->windowTitle()));
        QTimer::singleShot(0, dialog, &QDialog::reject);
    }
    return false;
}

void DialogDriver::answer(QMessageBox &box)
{
    m_boxes.append({box.icon(), box.windowTitle(), box.text(), box.standardButtons()});
    if (m_answers.isEmpty()) {
        fail(QStringLiteral("Unexpected message box \"%1\": %2").arg(box.windowTitle(), box.text()));
        box.done(QMessageBox::NoButton);
        return;
    }
    QTimer::singleShot(longestAnswer, &box, [&box] {
        fail(QStringLiteral("The message box \"%1\" was not closed by its answer").arg(box.windowTitle()));
        box.done(QMessageBox::NoButton);
    });
    m_answers.dequeue()(box);
}
