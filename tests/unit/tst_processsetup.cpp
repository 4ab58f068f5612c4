#include "app/processsetup.h"

#include <QtTest>

using namespace freshen;

class ProcessSetupTest : public QObject
{
    Q_OBJECT

private slots:
    void foldersForPluginsAreForgotten();
};

void ProcessSetupTest::foldersForPluginsAreForgotten()
{
    for (const char *variable : {"QT_PLUGIN_PATH", "QT_QPA_PLATFORM_PLUGIN_PATH"})
        qputenv(variable, "somewhere");
    qputenv("QT_SCALE_FACTOR", "1.5");
    ignoreForeignPlugins();
    QVERIFY(!qEnvironmentVariableIsSet("QT_PLUGIN_PATH"));
    QVERIFY(!qEnvironmentVariableIsSet("QT_QPA_PLATFORM_PLUGIN_PATH"));
    // What else the environment says about Qt is the user's.
    QCOMPARE(qgetenv("QT_SCALE_FACTOR"), QByteArray("1.5"));
}

QTEST_GUILESS_MAIN(ProcessSetupTest)
#include "tst_processsetup.moc"
