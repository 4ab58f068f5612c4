#include "publish/numberoption.h"

namespace freshen::publish {

bool readNumber(Context &context, const NumberOption &option, std::optional<qint64> &value)
{
    const QString name = QString::fromLatin1(option.name);
    if (!context.options.isSet(name))
        return true;
    bool isNumber = false;
    value = context.options.value(name).toLongLong(&isNumber);
    if (isNumber && *value >= option.least && *value <= option.most)
        return true;
    static_cast<void>(context.report.fail(
        ExitCode::Usage,
        QStringLiteral("--%1 is a number from %2 to %3.").arg(name).arg(option.least).arg(option.most)));
    return false;
}

} // namespace freshen::publish
