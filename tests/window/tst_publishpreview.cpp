// The updater is the judge of freshen-publish: what a preview says of any index is what the window then chooses and
// lists.

#include "download/packagename.h"
#include "kit/qt/windowtest.h"
#include "publish/offers.h"
#include "versions/updateserver.h"

#include <QRandomGenerator>

using namespace freshen;
using namespace freshen::publish;

namespace {

/// For each of the two settings of test builds.
constexpr int indexes = 150;

/// How far the revision of another updater is from this one's. Revisions keep their four digits.
constexpr qint32 distance = ownRevision < 8000 ? 1000 : -1000;

RunningSystem fakedSystem;

/// Makes indexes with all kinds of lines, most of them sound.
class RandomIndex
{
public:
    explicit RandomIndex(quint32 seed) : m_random(seed) {}

    QByteArray make()
    {
        QByteArrayList lines;
        for (int count = number(9); count >= 0; --count)
            lines.append(number(12) == 0 ? oneOf({"", "no line", "1|2|3|4|5", "||||", "\r", "a.b.c|Stable||d|i"})
                                         : line());
        return lines.join('\n') + oneOf({"\n", "", "\r\n"});
    }
    /// A number below \a limit.
    int number(int limit)
    {
        return int(m_random.bounded(limit));
    }

private:
    QByteArray oneOf(const QByteArrayList &texts)
    {
        return texts.at(number(texts.size()));
    }
    QByteArray revision()
    {
        if (number(8) == 0)
            return oneOf({"999", "10000", "2084", "-5", "07200", " 7300", "99999999999", "7x00"});
        return QByteArray::number(ownRevision - 3 + number(9));
    }
    QByteArray line()
    {
        QByteArrayList columns = {oneOf({"26.05.", "26.05.", "26.05.", "1."}) + revision(),
                                  oneOf({"Stable", "Stable", "Stable", "Beta", "Beta", "Test", "stable", "Beta "}),
                                  oneOf({"", "", "0", "7100", "-1", "x"}), "2026-05-01",
                                  oneOf({"Info", "\xc3\xa4", ""})};
        const int more = number(4);
        if (more > 0)
            columns.append(oneOf({"", "0", "7O00", "99999999999", QByteArray::number(ownRevision - 1 + number(3))}));
        if (more > 1)
            columns.append(oneOf({"6.1", "6.1", "10.0", "10", "11.0", "", "Windows 10", "6.2.9200"}));
        if (more > 2 && number(8) == 0)
            columns.append("x");
        return columns.join('|');
    }

    QRandomGenerator m_random;
};

/// \a text with all revisions near that of this updater as near to that of the other.
QString moved(QString text)
{
    static const QRegularExpression number("[1-9][0-9]*");
    for (auto matches = number.globalMatch(text); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        const qint32 value = match.captured().toInt();
        if (qAbs(value - ownRevision) < qAbs(distance) / 2)
            text.replace(match.capturedStart(), match.capturedLength(), QString::number(value + distance));
    }
    return text;
}

QString textOf(const Offer &offer)
{
    QString text = QString::number(offer.revision) + '\n' + offer.chosen.join('|');
    for (const QStringList &row : offer.list)
        text += '\n' + row.join('|');
    return text;
}

/// Whether \a condition is met soon. It is looked at after each event, since there are many of these tests.
bool soon(const std::function<bool()> &condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && !timer.hasExpired(10000))
        QCoreApplication::processEvents();
    return condition();
}

} // namespace

RunningSystem RunningSystem::current()
{
    return fakedSystem;
}

class PublishPreviewTest : public WindowTest
{
    Q_OBJECT

    void checkAutomaticMode(const QByteArray &index, const Audience &audience)
    {
        const Offer offer = offerFor(decodeVersionFile(index), audience);
        const int boxes = m_dialogs->boxes().size();
        const int requests = m_server->requests().size();
        if (offer.chosen.isEmpty())
            m_dialogs->expect(QMessageBox::Ok);
        setArguments({"auto"});
        writeSettings({{"LoginWindow/useBeta", audience.takesBetas}});
        const TestWindow window;
        if (offer.chosen.isEmpty()) {
            QVERIFY(soon([this, boxes] { return m_dialogs->boxes().size() > boxes; }));
            QVERIFY(m_dialogs->boxes().last().startsWith("Critical: *Update Failed"));
            return;
        }
        QVERIFY(soon([this, requests] { return m_server->requests().size() > requests + 1; }));
        const QString package = packagePath(serverPackageName(offer.chosen, offer.revision, {}));
        QCOMPARE(QUrl::fromPercentEncoding(m_server->targets().last()), package);
        QCOMPARE(window.versions.value(offer.revision), offer.chosen);
    }

    static void checkList(const TestWindow &window, const QByteArray &index, Audience audience)
    {
        audience.takesBetas = window.showBeta.isChecked();
        QList<QStringList> shown;
        for (int row = 0; row < window.tree.topLevelItemCount(); ++row) {
            QStringList texts;
            for (int column = 0; column < window.tree.columnCount(); ++column)
                texts.append(window.tree.topLevelItem(row)->text(column));
            shown.append(texts);
        }
        QCOMPARE(shown, offerFor(decodeVersionFile(index), audience).list);
    }

    static void checkManualMode(const QByteArray &index, const Audience &audience)
    {
        setArguments({"menu"});
        TestWindow window;
        QVERIFY(soon([&window] { return window.tree.isSortingEnabled(); }));
        checkList(window, index, audience);
        window.showBeta.click();
        checkList(window, index, audience);
    }

    static void checkOtherUpdater(const QString &index, const Audience &audience)
    {
        Audience other = audience;
        other.updater += distance;
        QCOMPARE(textOf(offerFor(moved(index), other)), moved(textOf(offerFor(index, audience))));
    }

private slots:
    void windowDoesWhatThePreviewSays_data()
    {
        const Table<bool> table;
        table.row("without test builds", false);
        table.row("with test builds", true);
    }
    void windowDoesWhatThePreviewSays()
    {
        const auto [allowsTestBuilds] = Table<bool>::current();
        writeSettings({{"allow_testbuild", allowsTestBuilds}}, "Tavlo3 Updater");
        RandomIndex random(allowsTestBuilds);
        for (int number = 0; number < indexes; ++number) {
            const QByteArray index = random.make();
            m_server->prepare(versionFileTarget, {index});
            fakedSystem = *windowsVersion(random.number(2) == 0 ? "6.1" : "10.0");
            const Audience audience = {ownRevision, fakedSystem, random.number(2) == 0, allowsTestBuilds};
            checkAutomaticMode(index, audience);
            checkManualMode(index, audience);
            checkOtherUpdater(decodeVersionFile(index), audience);
            if (QTest::currentTestFailed())
                QFAIL("The index is: " + index);
        }
    }
};

FRESHEN_WINDOW_TEST_MAIN(PublishPreviewTest)
#include "tst_publishpreview.moc"
