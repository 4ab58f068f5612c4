#include "publish/fileanswer.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include <algorithm>

namespace freshen::publish {

namespace {

constexpr int ok = 200;
constexpr int badRequest = 400;
constexpr int notFound = 404;
constexpr int methodNotAllowed = 405;

const QLatin1String packageEnding(".zip");

QByteArray phraseOf(int status)
{
    switch (status) {
    case ok:
        return "OK";
    case badRequest:
        return "Bad Request";
    case methodNotAllowed:
        return "Method Not Allowed";
    default:
        return "Not Found";
    }
}

/// Whether \a name is one step downwards on every system, and not hidden.
bool isPlainName(const QString &name)
{
    const auto isSpecial = [](QChar sign) { return sign < QLatin1Char(' ') || QLatin1String("\\:").contains(sign); };
    return !name.isEmpty() && !name.startsWith(QLatin1Char('.')) && std::none_of(name.begin(), name.end(), isSpecial);
}

/// The file that \a target (RFC 9112, 3.2.1) addresses below \a root, or an empty path.
QString addressedFile(const QByteArray &target, const QString &root)
{
    const QString path = QUrl::fromPercentEncoding(target.split('?').first());
    const QStringList names = path.mid(1).split(QLatin1Char('/'));
    if (!path.startsWith(QLatin1Char('/')) || !std::all_of(names.begin(), names.end(), isPlainName))
        return {};
    // A link may lead out of the folder.
    const QString file = QFileInfo(root + path).canonicalFilePath();
    const QString top = QFileInfo(root).canonicalFilePath();
    const bool isInside = file.startsWith(top.endsWith(QLatin1Char('/')) ? top : top + QLatin1Char('/'));
    return isInside && QFileInfo(file).isFile() ? file : QString();
}

/// The status that the first line of a request, in its words, alone decides.
int statusOf(const QList<QByteArray> &words)
{
    if (words.size() != 3 || !words.last().startsWith("HTTP/1."))
        return badRequest;
    return words.first() == "GET" || words.first() == "HEAD" ? ok : methodNotAllowed;
}

} // namespace

QByteArray FileAnswer::head() const
{
    QByteArray lines = "HTTP/1.1 " + QByteArray::number(status) + ' ' + phraseOf(status) + "\r\nConnection: close\r\n";
    lines += "Content-Length: " + QByteArray::number(size) + "\r\n";
    if (status == methodNotAllowed)
        lines += "Allow: GET, HEAD\r\n";
    if (status == ok) {
        lines += isPackage ? "Content-Type: application/zip\r\nCache-Control: public, max-age=31536000, immutable\r\n"
                           : "Content-Type: text/plain; charset=utf-8\r\nCache-Control: no-cache\r\n";
    }
    return lines + "\r\n";
}

FileAnswer answerTo(const QByteArray &request, const QString &root)
{
    const QList<QByteArray> words = request.left(request.indexOf("\r\n")).split(' ');
    FileAnswer answer;
    answer.isHeadOnly = words.first() == "HEAD";
    answer.status = statusOf(words);
    if (answer.status != ok)
        return answer;
    answer.file = addressedFile(words.at(1), root);
    answer.status = answer.file.isEmpty() ? notFound : ok;
    answer.size = QFileInfo(answer.file).size();
    answer.isPackage = answer.file.endsWith(packageEnding);
    return answer;
}

} // namespace freshen::publish
