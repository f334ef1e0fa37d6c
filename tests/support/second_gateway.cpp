// A bare second gateway process on the names it is given, for the tests of
// names already in use: init_oru_dgw_sdk(logDir, control, stream), then the
// event loop until it is terminated.
#include <oru_sdk/dgw_signals.h>

#include <QCoreApplication>
#include <QStringList>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 4)
        return 2;
    oru_sdk::init_oru_dgw_sdk(args.at(1), args.at(2), args.at(3));
    return app.exec();
}
