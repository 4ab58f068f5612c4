#include <QImageReader>
#include <QtEndian>
#include <QtTest>

/// Looks at what is compiled into the executable: the catalogues and the picture.
class ResourcesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void storage_data();
    void storage();
    void numberOfMessages_data();
    void numberOfMessages();
    void messages_data();
    void messages();
    void textsOutsideTheCatalogues_data();
    void textsOutsideTheCatalogues();
    void bothFormsOfThePath();
    void otherLanguagesHaveNoCatalogue();
    void buttons();
    void picture();

private:
    QTranslator m_english;
    QTranslator m_german;
};

namespace {

QByteArray resource(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The number of messages in a compiled catalogue: it consists of sections, each with a tag of one byte and a length,
/// after a signature of 16 bytes; the section of the hashes has 8 bytes for each message.
int messageCount(const QByteArray &catalogue)
{
    constexpr int signatureSize = 16;
    constexpr char hashes = 0x42;
    constexpr int hashSize = 8;
    int position = signatureSize;
    while (position + 5 <= catalogue.size()) {
        const auto length = static_cast<int>(qFromBigEndian<quint32>(catalogue.constData() + position + 1));
        if (catalogue.at(position) == hashes)
            return length / hashSize;
        position += 5 + length;
    }
    return -1;
}

} // namespace

void ResourcesTest::initTestCase()
{
    // As the program loads them.
    QVERIFY(m_english.load(QString(":i18n_%1").arg("en")));
    QVERIFY(m_german.load(QString(":i18n_%1").arg("de")));
}

void ResourcesTest::storage_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("algorithm");
    QTest::newRow("English catalogue") << ":/i18n_en" << static_cast<int>(QResource::NoCompression);
    QTest::newRow("German catalogue") << ":/i18n_de" << static_cast<int>(QResource::NoCompression);
    QTest::newRow("German buttons") << ":/buttons_de" << static_cast<int>(QResource::NoCompression);
    QTest::newRow("picture") << ":/disk" << static_cast<int>(QResource::ZlibCompression);
}

void ResourcesTest::storage()
{
    QFETCH(QString, path);
    const QResource resource(path);
    QVERIFY(resource.isValid());
    QTEST(static_cast<int>(resource.compressionAlgorithm()), "algorithm");
    QVERIFY(resource.uncompressedSize() > 0);
}

void ResourcesTest::numberOfMessages_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("English") << ":/i18n_en";
    QTest::newRow("German") << ":/i18n_de";
}

void ResourcesTest::numberOfMessages()
{
    QFETCH(QString, path);
    QCOMPARE(messageCount(resource(path)), 30);
}

void ResourcesTest::messages_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("german");
    const QString table = QString::fromUtf8(resource(":/test/messages.tsv"));
    int count = 0;
    for (const QString &line : table.split('\n', Qt::SkipEmptyParts)) {
        if (line.startsWith('#'))
            continue;
        QString texts = line;
        const QStringList columns = texts.replace("\\n", "\n").replace("\\s", " ").split('\t');
        QVERIFY2(columns.size() == 3, qUtf8Printable(line));
        QTest::newRow(columns.first().left(40).simplified().toUtf8().constData())
            << columns.at(0) << columns.at(1) << columns.at(2);
        ++count;
    }
    QCOMPARE(count, 30);
}

void ResourcesTest::messages()
{
    QFETCH(QString, source);
    const QByteArray key = source.toUtf8();
    QTEST(m_english.translate("MainWindow", key.constData()), "english");
    QTEST(m_german.translate("MainWindow", key.constData()), "german");
    // Nothing is found under another context.
    QCOMPARE(m_german.translate("", key.constData()), QString());
}

void ResourcesTest::textsOutsideTheCatalogues_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"SVN", "Version", "Typ", "Referenz", "Datum", "Info", "Tavlopro Updater - Version %1",
                             "Checking for Tavlopro Software Update...", "Information", "Error copying update!\n\n%1",
                             "Error reading version description file:\n%1", "Tavlopro Updater Precheck",
                             "<html><p>Ihre Tavlopro-Anwendung läuft noch.</p><p>Bitte schließen Sie diese erst, um "
                             "mit der Installation fortfahren zu können.</p>"})
        QTest::newRow(QString(text).simplified().toUtf8().constData()) << text;
}

/// They appear as written in every language.
void ResourcesTest::textsOutsideTheCatalogues()
{
    QFETCH(QString, text);
    for (QTranslator *translator : {&m_english, &m_german}) {
        QVERIFY(QCoreApplication::installTranslator(translator));
        const QString shown = QCoreApplication::translate("MainWindow", text.toUtf8().constData());
        QVERIFY(QCoreApplication::removeTranslator(translator));
        QCOMPARE(shown, text);
    }
}

void ResourcesTest::bothFormsOfThePath()
{
    for (const char *path : {":i18n_de", ":/i18n_de"}) {
        QTranslator translator;
        QVERIFY(translator.load(path));
        QCOMPARE(translator.translate("MainWindow", "Extracting update..."), "Entpacke Update ...");
    }
}

/// So the program falls back to German for them.
void ResourcesTest::otherLanguagesHaveNoCatalogue()
{
    QTranslator translator;
    QVERIFY(!translator.load(QString(":i18n_%1").arg("fr")));
    QVERIFY(!translator.load(QString(":i18n_%1").arg("C")));
}

/// Those that the updater's boxes have, which are Qt's texts. In English they stay as they are.
void ResourcesTest::buttons()
{
    QTranslator translator;
    QVERIFY(translator.load(QString(":buttons_%1").arg("de")));
    QCOMPARE(translator.translate("QPlatformTheme", "OK"), "OK");
    QCOMPARE(translator.translate("QPlatformTheme", "&No"), "&Nein");
    QCOMPARE(translator.translate("QPlatformTheme", "Retry"), "Wiederholen");
    QVERIFY(!QFile::exists(":/buttons_en"));
}

void ResourcesTest::picture()
{
    // Head of an icon file: reserved, type 1 (icon), number of pictures; then the first picture's width, height,
    // colours (0 for more than 256), reserved, planes, bits for each pixel.
    const QByteArray icon = resource(":/disk");
    QVERIFY(icon.size() > 22);
    const auto word = [&icon](int position) { return qFromLittleEndian<quint16>(icon.constData() + position); };
    QCOMPARE(word(0), quint16(0));
    QCOMPARE(word(2), quint16(1));
    QCOMPARE(word(4), quint16(1));
    QCOMPARE(int(icon.at(6)), 64);
    QCOMPARE(int(icon.at(7)), 64);
    QCOMPARE(word(12), quint16(32));

    QImageReader reader(":/disk", "ico");
    const QImage image = reader.read();
    QVERIFY2(!image.isNull(), qUtf8Printable(reader.errorString()));
    QCOMPARE(image.size(), QSize(64, 64));
    QVERIFY(image.hasAlphaChannel());
    // There is something to be seen, and something to be seen through.
    int opaque = 0;
    int transparent = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            opaque += image.pixelColor(x, y).alpha() == 255 ? 1 : 0;
            transparent += image.pixelColor(x, y).alpha() == 0 ? 1 : 0;
        }
    }
    QVERIFY(opaque > 500);
    QVERIFY(transparent > 0);
}

QTEST_GUILESS_MAIN(ResourcesTest)
#include "tst_resources.moc"
