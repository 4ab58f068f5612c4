#include "kit/qt/platform.h"

#include <QCoreApplication>

#include <unistd.h>

namespace {

constexpr uid_t root = 0;
constexpr uid_t nobody = 65534;

/// Takes \a user's rights. The way back stays open.
void become(uid_t user)
{
    if (setresuid(user, user, root) != 0)
        qFatal("Cannot become the user %u", user);
}

} // namespace

QString callOfThisProcess()
{
    QString call;
    for (const QString &argument : QCoreApplication::arguments().mid(1))
        call += argument + '\n';
    return call;
}

Restorer becomeOrdinaryUser()
{
    if (getuid() != root)
        return Restorer([] {});
    become(nobody);
    return Restorer([] { become(root); });
}
