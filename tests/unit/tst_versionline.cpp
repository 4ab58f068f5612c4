#include "kit/qt/messagecatcher.h"
#include "versions/ownversion.h"
#include "versions/versionline.h"

#include <QtTest>

#include <limits>

using namespace freshen;

class VersionLineTest : public QObject
{
    Q_OBJECT

private slots:
    void decoding_data();
    void decoding();
    void lines_data();
    void lines();
    void columns_data();
    void columns();
    void revision_data();
    void revision();
    void number_data();
    void number();
    void minimumUpdater_data();
    void minimumUpdater();
    void warnings();
    void ownVersionOfTheUpdater();
};

void VersionLineTest::decoding_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray() << "";
    QTest::newRow("UTF-8") << QByteArray("Gr\xc3\xb6\xc3\x9f\x65") << "Größe";
    QTest::newRow("up to a first zero byte") << QByteArray("seen\0not seen", 13) << "seen";
    QTest::newRow("zero byte first") << QByteArray("\0not seen", 9) << "";
    QTest::newRow("carriage returns stay") << QByteArray("a\r\nb") << "a\r\nb";
}

void VersionLineTest::decoding()
{
    QFETCH(QByteArray, body);
    QTEST(decodeVersionFile(body), "text");
}

void VersionLineTest::lines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("result");
    QTest::newRow("empty text") << "" << QStringList();
    QTest::newRow("only line feeds") << "\n\n\n" << QStringList();
    QTest::newRow("empty lines anywhere") << "\na\n\n\nb\n\n" << QStringList{"a", "b"};
    QTest::newRow("no line feed at the end") << "a\nb" << QStringList{"a", "b"};
    QTest::newRow("blanks are not stripped") << "  a  \n \n" << QStringList{"  a  ", " "};
    QTest::newRow("carriage returns are not removed") << "a\r\nb\r\n" << QStringList{"a\r", "b\r"};
}

void VersionLineTest::lines()
{
    QFETCH(QString, text);
    QTEST(splitLines(text), "result");
}

void VersionLineTest::columns_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("result");
    QTest::newRow("empty columns are kept") << "a||b" << QStringList{"a", "", "b"};
    QTest::newRow("empty at both ends") << "|a|" << QStringList{"", "a", ""};
    QTest::newRow("one column") << "a" << QStringList{"a"};
    QTest::newRow("no quoting, no escaping") << "\"a|b\"|c\\|d" << QStringList{"\"a", "b\"", "c\\", "d"};
    QTest::newRow("nothing is trimmed") << " a | b " << QStringList{" a ", " b "};
}

void VersionLineTest::columns()
{
    QFETCH(QString, line);
    QTEST(splitColumns(line), "result");
}

void VersionLineTest::revision_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<bool>("isRead");
    QTest::addColumn<qint32>("value");
    QTest::addColumn<QStringList>("messages");
    const auto good = [](const char *version, qint32 value) {
        QTest::newRow(version) << version << true << value << QStringList();
    };
    const auto bad = [](const char *name, const char *version, const char *message) {
        QTest::newRow(name) << version << false << 0 << QStringList{message};
    };
    good("26.05.7200", 7200);
    good("a.b.7200", 7200);
    good("..7200", 7200);
    good("26.05.007200", 7200);
    good("26.05.-5", -5);
    good("26.05.2147483647", 2147483647);
    bad("two parts", "26.7200", "WARNING: (\"26\", \"7200\") does not have right number of cols");
    bad("four parts", "26.05.7200.1", "WARNING: (\"26\", \"05\", \"7200\", \"1\") does not have right number of cols");
    bad("empty version", "", "WARNING: (\"\") does not have right number of cols");
    bad("72a0", "26.05.72a0", "WARNING: cant read revision number \"72a0\"");
    bad("no digits", "26.05.", "WARNING: cant read revision number \"\"");
    bad("hexadecimal", "26.05.0x10", "WARNING: cant read revision number \"0x10\"");
    bad("beyond 32 bits", "26.05.2147483648", "WARNING: cant read revision number \"2147483648\"");
}

void VersionLineTest::revision()
{
    QFETCH(QString, version);
    QFETCH(bool, isRead);
    MessageCatcher catcher;
    const std::optional<qint32> result = readRevision({version, "Stable", "0", "date", "info"});
    QCOMPARE(result.has_value(), isRead);
    QTEST(result.value_or(0), "value");
    QTEST(catcher.debugLines(), "messages");
    QCOMPARE(catcher.lines(), catcher.debugLines());
}

void VersionLineTest::number_data()
{
    QTest::addColumn<qint32>("value");
    const qint32 largest = std::numeric_limits<qint32>::max();
    const qint32 smallest = std::numeric_limits<qint32>::min();
    QTest::newRow("7086") << 7086;
    QTest::newRow("-7086") << -7086;
    QTest::newRow("+5") << 5;
    QTest::newRow(" 5 ") << 5;
    QTest::newRow("\t5\r") << 5;
    QTest::newRow("007086") << 7086;
    QTest::newRow("0") << 0;
    QTest::newRow("-0") << 0;
    QTest::newRow("") << 0;
    QTest::newRow(" ") << 0;
    QTest::newRow("5x") << 0;
    QTest::newRow("5 6") << 0;
    QTest::newRow("+-5") << 0;
    QTest::newRow("- 5") << 0;
    QTest::newRow("5.0") << 0;
    QTest::newRow("0x5") << 0;
    QTest::newRow("٥") << 0;
    QTest::newRow("2147483647") << largest;
    QTest::newRow("2147483648") << largest;
    QTest::newRow("4294967296") << largest;
    QTest::newRow("99999999999") << largest;
    QTest::newRow("9223372036854775808") << largest;
    QTest::newRow("100000000000000000000000000000") << largest;
    QTest::newRow("000000000000000000000000000005") << 5;
    QTest::newRow("-2147483648") << smallest;
    QTest::newRow("-2147483649") << smallest;
    QTest::newRow("-99999999999") << smallest;
    QTest::newRow("-100000000000000000000000000000") << smallest;
}

void VersionLineTest::number()
{
    QTEST(toNumber(QTest::currentDataTag()), "value");
}

void VersionLineTest::minimumUpdater_data()
{
    QTest::addColumn<QString>("minimum");
    QTest::addColumn<bool>("isAllowed");
    QTest::addColumn<QStringList>("messages");
    const QStringList none;
    QTest::newRow("lower") << "7085" << true << none;
    QTest::newRow("equal is accepted") << "7086" << true << none;
    QTest::newRow("one higher") << "7087" << false
                                << QStringList{
                                       "WARNING: current version 7086 not eligible for 7200 - needs update to 7087"};
    QTest::newRow("7100") << "7100" << false
                          << QStringList{"WARNING: current version 7086 not eligible for 7200 - needs update to 7100"};
    QTest::newRow("no number counts as 0") << "soon" << true << none;
    QTest::newRow("empty counts as 0") << "" << true << none;
    QTest::newRow("negative") << "-7100" << true << none;
    QTest::newRow("beyond 32 bits counts as the largest")
        << "99999999999" << false
        << QStringList{"WARNING: current version 7086 not eligible for 7200 - needs update to 2147483647"};
}

void VersionLineTest::minimumUpdater()
{
    QFETCH(QString, minimum);
    MessageCatcher catcher;
    QTEST(allowsThisUpdater({"26.05.7200", "Stable", "0", "date", "info", minimum}, 7200), "isAllowed");
    QTEST(catcher.debugLines(), "messages");
    QCOMPARE(catcher.lines(), catcher.debugLines());
}

void VersionLineTest::warnings()
{
    MessageCatcher catcher;
    warnAboutCount({"a", "ü \"b\""});
    warnAboutType("stable");
    const QStringList expected = {R"(WARNING: ("a", "ü \"b\"") does not have right number of cols)",
                                  R"(WARNING: "stable" is unknown type)"};
    QCOMPARE(catcher.debugLines(), expected);
}

void VersionLineTest::ownVersionOfTheUpdater()
{
    QCOMPARE(ownVersion, "26.05.7086");
    QCOMPARE(ownRevision, 7086);
}

QTEST_GUILESS_MAIN(VersionLineTest)
#include "tst_versionline.moc"
