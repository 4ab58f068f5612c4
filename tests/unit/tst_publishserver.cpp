// What the local server answers, and what is made of the answers of real servers.

#include "kit/qt/foldertest.h"
#include "kit/qt/table.h"
#include "publish/bodycomparison.h"
#include "publish/fileanswer.h"
#include "publish/serveraddress.h"
#include "publish/serverfindings.h"

#include <functional>

using namespace freshen::publish;

namespace {

const QDateTime now = QDateTime(QDate(2026, 7, 9), QTime(12, 0), Qt::UTC);

/// Makes an answer unlike the good one.
using Change = std::function<void(ServerAnswer &)>;

ServerAnswer goodAnswer(AnswerKind kind)
{
    ServerAnswer answer;
    answer.kind = kind;
    answer.address = "https://host/path";
    answer.certificateEnd = now.addDays(15);
    answer.status = 200;
    answer.cacheControl = kind == AnswerKind::Index ? "no-cache" : "max-age=86400";
    answer.announced = 7;
    answer.received = 7;
    answer.begin = "content";
    answer.isCompared = true;
    return answer;
}

/// Makes a transfer end with \a error.
Change ends(QNetworkReply::NetworkError error)
{
    return [error](ServerAnswer &answer) {
        answer.error = error;
        answer.errorText = "the reason";
    };
}

/// Ids and messages of \a findings.
QStringList texts(const QList<Finding> &findings)
{
    QStringList lines;
    for (const Finding &finding : findings)
        lines.append(QLatin1String(finding.kind.id) + ": " + finding.message);
    return lines;
}

} // namespace

class PublishServerTest : public FolderTest
{
    Q_OBJECT

private slots:
    void requestsAreAnswered_data()
    {
        const Table<QByteArray, int, QString> table;
        const auto get = [](const QByteArray &target) { return "GET " + target + " HTTP/1.1"; };
        table.row("a file", get("/update/index.txt"), 200, "update/index.txt");
        table.row("a package", get("/update/a.zip"), 200, "update/a.zip");
        table.row("its head", "HEAD /update/a.zip HTTP/1.1", 200, "update/a.zip");
        table.row("an older client", "GET /update/a.zip HTTP/1.0", 200, "update/a.zip");
        table.row("a query", get("/update/a.zip?x=/../y"), 200, "update/a.zip");
        table.row("escaped", get("/update/%61%2Ezip"), 200, "update/a.zip");
        table.row("a name beyond ASCII", get("/update/%C3%BC"), 200, "update/\u00fc");
        table.row("missing", get("/update/b.zip"), 404, {});
        table.row("a folder", get("/update/"), 404, {});
        table.row("a folder by its name", get("/update"), 404, {});
        table.row("the root", get("/"), 404, {});
        table.row("upwards", get("/../outside"), 404, {});
        table.row("upwards and back", get("/../root/update/a.zip"), 404, {});
        table.row("upwards, escaped", get("/%2e%2e%2foutside"), 404, {});
        table.row("upwards, Windows", get("/..%5coutside"), 404, {});
        table.row("downwards, Windows", get("/a%5cb"), 404, {});
        table.row("another drive", get("/C:/outside"), 404, {});
        table.row("a zero byte", get("/update/a.zip%00"), 404, {});
        table.row("hidden", get("/update/.hidden"), 404, {});
        table.row("in a hidden folder", get("/.git/config"), 404, {});
        table.row("a link to the outside", get("/link"), 404, {});
        table.row("no path", get("update/a.zip"), 404, {});
        table.row("a proxy's request", get("http://host/update/a.zip"), 404, {});
        table.row("another method", "POST /update/a.zip HTTP/1.1", 405, {});
        table.row("another protocol", "GET /update/a.zip SSH-2.0", 400, {});
        table.row("no protocol", "GET /update/a.zip", 400, {});
        table.row("no line", QByteArray(20000, 'x'), 400, {});
    }
    void requestsAreAnswered()
    {
        const auto [line, status, served] = Table<QByteArray, int, QString>::current();
        for (const char *name : {"root/update/index.txt", "root/update/a.zip", "root/update/\u00fc",
                                 "root/update/.hidden", "root/.git/config", "root/a\\b", "outside"})
            writeFile(file(name), "content");
        // Windows has shortcuts in the place of links, and those are files.
        QVERIFY(isWindows() || QFile::link(file("outside"), file("root/link")));
        const FileAnswer answer = answerTo(line.size() > 1000 ? line : line + "\r\nHost: x\r\n\r\n", file("root"));
        QCOMPARE(answer.status, status);
        QCOMPARE(answer.file, served.isEmpty() ? QString() : QFileInfo(file("root/" + served)).canonicalFilePath());
        QCOMPARE(answer.size, served.isEmpty() ? 0 : 7);
        QCOMPARE(answer.isHeadOnly, line.startsWith("HEAD"));
        QCOMPARE(answer.isPackage, served.endsWith(".zip"));
    }

    void headsTellWhatFollows_data()
    {
        const Table<FileAnswer, QByteArray> table;
        table.row("the index", {200, "windows.txt", 7, false, false},
                  "HTTP/1.1 200 OK|Connection: close|Content-Length: 7|Content-Type: text/plain; charset=utf-8|"
                  "Cache-Control: no-cache||");
        table.row("a package", {200, "a.zip", 7, true, false},
                  "HTTP/1.1 200 OK|Connection: close|Content-Length: 7|Content-Type: application/zip|"
                  "Cache-Control: public, max-age=31536000, immutable||");
        table.row("nothing", {404, {}, 0, false, false},
                  "HTTP/1.1 404 Not Found|Connection: close|Content-Length: 0||");
        table.row("no request", {400, {}, 0, false, false},
                  "HTTP/1.1 400 Bad Request|Connection: close|Content-Length: 0||");
        table.row("another method", {405, {}, 0, false, false},
                  "HTTP/1.1 405 Method Not Allowed|Connection: close|Content-Length: 0|Allow: GET, HEAD||");
    }
    void headsTellWhatFollows()
    {
        const auto [answer, head] = Table<FileAnswer, QByteArray>::current();
        QCOMPARE(answer.head().replace("\r\n", "|"), head);
    }

    void failuresAreSeen_data()
    {
        const Table<QString, Change> table;
        table.row("nothing", {}, [](ServerAnswer & /*answer*/) {});
        table.row("less safe", "server-redirect-less-safe: It sends updaters on to an address without encryption.",
                  ends(QNetworkReply::InsecureRedirectError));
        table.row("loop", "server-redirect-loop: It sends updaters on, again and again: https://b.", [](auto &answer) {
            ends(QNetworkReply::TooManyRedirectsError)(answer);
            answer.redirects = QStringList{"https://a", "https://b"};
        });
        table.row("certificate", "server-certificate: The certificate is not trusted: One. Two.", [](auto &answer) {
            ends(QNetworkReply::SslHandshakeFailedError)(answer);
            answer.certificateErrors = QStringList{"One.", "Two."};
        });
        table.row("newer TLS alone",
                  "server-no-tls-1.2: It speaks TLS 1.3, but not TLS 1.2: updaters on Windows have no newer one.",
                  [](auto &answer) {
                      ends(QNetworkReply::SslHandshakeFailedError)(answer);
                      answer.otherTls = "TLS 1.3";
                  });
        table.row("no TLS", "server-tls: the reason", ends(QNetworkReply::SslHandshakeFailedError));
        table.row("timeout", "server-timeout: Nothing more came after 7 bytes.", [](auto &answer) {
            ends(QNetworkReply::OperationCanceledError)(answer);
            answer.isTimedOut = true;
            answer.announced = 8;
        });
        table.row("missing", "server-status: The status is 404 instead of 200.", [](auto &answer) {
            ends(QNetworkReply::ContentNotFoundError)(answer);
            answer.status = 404;
        });
        table.row("another success", "server-status: The status is 204 instead of 200.", [](auto &answer) {
            answer.status = 204;
            answer.announced = answer.received = 0;
        });
        table.row("cut off", "server-cut-off: 7 of 8 bytes came.", [](auto &answer) {
            ends(QNetworkReply::RemoteHostClosedError)(answer);
            answer.announced = 8;
        });
        table.row("cut off without a length", "server-cut-off: The connection ended after 7 bytes.", [](auto &answer) {
            ends(QNetworkReply::RemoteHostClosedError)(answer);
            answer.announced.reset();
        });
        table.row("another failure", "server-failed: the reason", ends(QNetworkReply::UnknownNetworkError));
        table.row("no answer", "server-failed: the reason", [](auto &answer) {
            ends(QNetworkReply::RemoteHostClosedError)(answer);
            answer.status = 0;
            answer.received = 0;
            answer.announced.reset();
        });
        const auto isStopped = [](AnswerKind kind) {
            return [kind](ServerAnswer &answer) {
                ends(QNetworkReply::OperationCanceledError)(answer);
                answer.kind = kind;
                answer.isStopped = true;
                answer.announced = 1000;
                answer.difference = Difference{3, 1000};
            };
        };
        table.row("too long", "server-too-long: It goes on after 7 bytes.", isStopped(AnswerKind::Index));
        table.row("stopped, since it differs", {}, isStopped(AnswerKind::Package));
        table.row("empty", "server-empty: Nothing is in it.",
                  [](auto &answer) { answer.announced = answer.received = 0; });
        for (const char *page : {"<!DOCTYPE html>", "\r\n <html lang=en>", "<HTML>"})
            table.row(page, "server-html: It is a web page, with the status of success.",
                      [page](auto &answer) { answer.begin = page; });
    }
    void failuresAreSeen()
    {
        const auto [text, change] = Table<QString, Change>::current();
        for (const AnswerKind kind : {AnswerKind::Index, AnswerKind::Package}) {
            ServerAnswer answer = goodAnswer(kind);
            change(answer);
            const std::optional<Finding> failure = failureOf(answer);
            QCOMPARE(failure ? texts({*failure}).first() : QString(), text);
            QCOMPARE(failure ? failure->file : answer.address, answer.address);
        }
    }

    void propertiesAreSeen_data()
    {
        const Table<AnswerKind, QStringList, Change> table;
        const auto index = [&table](const QByteArray &name, const QStringList &found, const Change &change) {
            table.row("index, " + name, AnswerKind::Index, found, change);
        };
        const auto package = [&table](const QByteArray &name, const QStringList &found, const Change &change) {
            table.row("package, " + name, AnswerKind::Package, found, change);
        };
        const auto asks = [](const QString &address) {
            return [address](ServerAnswer &answer) { answer.address = address; };
        };
        const auto isCached = [](const QByteArray &header) {
            return [header](ServerAnswer &answer) { answer.cacheControl = header; };
        };
        index("good", {}, [](auto & /*answer*/) {});
        package("good", {}, [](auto & /*answer*/) {});
        package("not compared", {"server-not-compared: It was not compared: there is no local file that can be read."},
                [](auto &answer) { answer.isCompared = false; });
        index("without encryption", {"server-unencrypted: Updaters fetch it without encryption."},
              asks("http://host/path"));
        for (const char *address : {"http://127.0.0.1:80/path", "http://[::1]/path"})
            index("on this machine, " + QByteArray(address), {}, asks(address));
        index("sent on", {"server-redirects: It sends updaters on to https://a, then to https://b."}, [](auto &answer) {
            answer.redirects = QStringList{"https://a", "https://b"};
        });
        package("certificate ends", {"server-certificate-ends: The certificate ends on 2026-07-23T11:59:59Z."},
                [](auto &answer) { answer.certificateEnd = now.addDays(14).addSecs(-1); });
        package("no certificate", {}, [](auto &answer) { answer.certificateEnd = QDateTime(); });
        package("other bytes",
                {"server-other-bytes: It is not the local file, of whose 1000 bytes the first 3 are the same."},
                [](auto &answer) {
                    answer.difference = Difference{3, 1000};
                });
        package("old bytes",
                {"server-other-bytes: It is not the local file, of whose 1000 bytes the first 3 are the same. "
                 "A cache has had it for 77 seconds."},
                [](auto &answer) {
                    answer.difference = Difference{3, 1000};
                    answer.age = "77";
                });
        package("no length", {"server-no-length: It does not tell its length."},
                [](auto &answer) { answer.announced.reset(); });
        package("compressed", {"server-no-length: It is compressed on its way (gzip), so its length is not known."},
                [](auto &answer) {
                    answer.announced.reset();
                    answer.contentEncoding = "gzip";
                });
        index("kept for long", {"server-index-cached: Caches may keep it for 301 seconds."}, isCached("max-age=301"));
        index("kept briefly", {}, isCached("max-age=300"));
        index("kept at will", {"server-index-cached: Caches may keep it as long as they like."}, isCached("public"));
        package("not kept for long", {"server-package-uncached: Caches are not told to keep it."},
                isCached("max-age=86399"));
        package("kept at will", {"server-package-uncached: Caches are not told to keep it."}, isCached(""));
    }
    void propertiesAreSeen()
    {
        const auto [kind, found, change] = Table<AnswerKind, QStringList, Change>::current();
        ServerAnswer answer = goodAnswer(kind);
        change(answer);
        QCOMPARE(texts(propertiesOf(answer, now)), found);
    }

    void cachesKeep_data()
    {
        const Table<std::optional<qint64>> table;
        table.row("", std::nullopt);
        table.row("public, immutable", std::nullopt);
        table.row("no-cache", 0);
        table.row("max-age=60, No-Store", 0);
        table.row("public, max-age=60", 60);
        table.row("MAX-AGE=\"60\"", 60);
        table.row("max-age=0, s-maxage=60", 60);
        table.row("s-maxage=5,max-age=60", 60);
        table.row("max-age=long", 0);
    }
    void cachesKeep()
    {
        const auto [seconds] = Table<std::optional<qint64>>::current();
        QCOMPARE(cacheLifetime(QTest::currentDataTag()), seconds);
    }

    void serversAreNamed_data()
    {
        const Table<QString> table;
        table.row("https://host", "https://host:443/update/Tavlopc/NEXT/windows.txt");
        table.row("https://host/", "https://host:443/update/Tavlopc/NEXT/windows.txt");
        table.row("http://host", "http://host:80/update/Tavlopc/NEXT/windows.txt");
        table.row("HTTPS://Host:8443", "https://host:8443/update/Tavlopc/NEXT/windows.txt");
        table.row("http://[::1]:80", "http://[::1]:80/update/Tavlopc/NEXT/windows.txt");
        for (const char *address : {"", "host", "host:443", "ftp://host", "https://", "https://host/update",
                                    "https://host?x", "https://host#x", "https://user@host", "https://a b"})
            table.row(address, {});
    }
    void serversAreNamed()
    {
        const auto [address] = Table<QString>::current();
        const auto server = serverAt(QTest::currentDataTag(), "NEXT");
        QCOMPARE(server ? freshen::versionFileAddress(*server) : QString(), address);
    }

    void bodiesAreCompared_data()
    {
        const Table<QByteArrayList, int> table;
        table.row("the same", {"con", "tent"}, -1);
        table.row("the same at once", {"content"}, -1);
        table.row("empty", {}, 0);
        table.row("shorter", {"con"}, 3);
        table.row("longer", {"content", "s"}, 7);
        table.row("another begin", {"Con", "tent"}, 0);
        table.row("another end", {"con", "tend"}, 6);
        table.row("the same again after a difference", {"Xon", "content"}, 0);
    }
    void bodiesAreCompared()
    {
        const auto [pieces, same] = Table<QByteArrayList, int>::current();
        writeFile(file("local"), "content");
        BodyComparison comparison(file("local"));
        BodyComparison nothing(file("missing"));
        bool isSame = true;
        for (const QByteArray &piece : pieces) {
            isSame = comparison.take(piece);
            QVERIFY(nothing.take(piece));
        }
        QCOMPARE(isSame, same == -1 || pieces.join().size() == same);
        QCOMPARE(comparison.difference().has_value(), same != -1);
        QCOMPARE(comparison.difference().value_or(Difference{-1, 7}).at, same);
        QCOMPARE(comparison.difference().value_or(Difference{-1, 7}).localSize, 7);
        QVERIFY(comparison.isPossible() && !nothing.isPossible() && !nothing.difference());
    }
};

QTEST_GUILESS_MAIN(PublishServerTest)
#include "tst_publishserver.moc"
