#include "kit/qt/files.h"
#include "kit/qt/table.h"

#include <QImageReader>

/// Looks at what is compiled into the executable: the catalogues and the picture.
class ResourcesTest : public QObject
{
    Q_OBJECT

private slots:
    void cataloguesAreNotCompressed()
    {
        for (const char *path : {":/i18n_en", ":/i18n_de", ":/buttons_de"})
            QCOMPARE(QResource(path).compressionAlgorithm(), QResource::NoCompression);
    }

    void messages_data()
    {
        const Table<QString, QString, QString> table;
        const QString rows = QString::fromUtf8(readFile(":/test/messages.tsv")).replace("\\s", " ");
        for (const QString &row : rows.split('\n').filter(QRegularExpression("^[^#]"))) {
            const QStringList texts = QString(row).replace("\\n", "\n").split('\t');
            table.row(texts.first().simplified().left(40).toUtf8(), texts.first(), texts.value(1), texts.value(2));
        }
    }
    void messages()
    {
        const auto [source, english, german] = Table<QString, QString, QString>::current();
        QCOMPARE(translated(":i18n_en", "MainWindow", source), english);
        QCOMPARE(translated(":i18n_de", "MainWindow", source), german);
    }

    /// Qt's texts, as far as the updater's boxes have them. In English they stay as they are.
    void buttons()
    {
        QCOMPARE(translated(":buttons_de", "QPlatformTheme", "OK"), "OK");
        QCOMPARE(translated(":buttons_de", "QPlatformTheme", "&No"), "&Nein");
        QCOMPARE(translated(":buttons_de", "QPlatformTheme", "Retry"), "Wiederholen");
        QVERIFY(!QFile::exists(":/buttons_en"));
    }

    void pictureIsAnIcon()
    {
        QImageReader reader(":/disk", "ico");
        QCOMPARE(reader.imageCount(), 1);
        const QImage image = reader.read();
        QVERIFY2(!image.isNull(), qUtf8Printable(reader.errorString()));
        QCOMPARE(image.size(), QSize(64, 64));
        QVERIFY(image.hasAlphaChannel());
    }

private:
    static QString translated(const QString &catalogue, const char *context, const QString &source)
    {
        QTranslator translator;
        [&] { QVERIFY(translator.load(catalogue)); }();
        return translator.translate(context, source.toUtf8().constData());
    }
};

QTEST_GUILESS_MAIN(ResourcesTest)
#include "tst_resources.moc"
