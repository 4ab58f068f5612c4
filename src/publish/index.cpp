#include "publish/index.h"

#include "download/packagename.h"
#include "publish/failure.h"
#include "publish/offers.h"

#include <QFile>

namespace freshen::publish {

namespace {

PackageNaming extendedNaming(const char *windows)
{
    return {true, operatingSystemTag(windowsVersion(QLatin1String(windows)).value()), architectureTag};
}

} // namespace

std::optional<qint32> revisionOf(const QString &line)
{
    const VersionTable versions = readFor(line, mostCapable()).versions;
    if (versions.isEmpty())
        return std::nullopt;
    return versions.firstKey();
}

Index parseIndex(const QByteArray &bytes)
{
    Index index{bytes, decodeVersionFile(bytes), {}};
    int number = 0;
    for (const QString &text : index.text.split(QLatin1Char('\n'))) {
        ++number;
        if (!text.isEmpty())
            index.lines.append({number, text, splitColumns(text), revisionOf(text)});
    }
    return index;
}

std::optional<Index> readIndex(const QString &path, QString &error)
{
    QFile file(path);
    const bool isOpen = file.open(QIODevice::ReadOnly);
    const QByteArray bytes = isOpen ? file.readAll() : QByteArray();
    if (file.error() != QFileDevice::NoError) {
        error = failureOf(file);
        return std::nullopt;
    }
    return parseIndex(bytes);
}

bool isReleaseType(const QString &type)
{
    return type == stableType || type == betaType || type == testType;
}

QMap<NameKind, QString> packageNames(const IndexLine &line)
{
    if (!line.revision)
        return {};
    const auto name = [&line](const PackageNaming &naming) {
        return serverPackageName(line.row, *line.revision, naming);
    };
    return {{NameKind::Plain, name({})},
            {NameKind::Extended, name(extendedNaming("10.0"))},
            {NameKind::ExtendedXp, name(extendedNaming("5.1"))}};
}

QStringList listedPackages(const Index &index)
{
    QStringList names;
    for (const IndexLine &line : index.lines)
        names += packageNames(line).values();
    names.removeDuplicates();
    names.sort();
    return names;
}

} // namespace freshen::publish
