// The C++ client's half of the interoperability tests.
//   oru_client_probe requests <control server> <stream server>
//       sends a fixed set of requests, commands and stream requests, then hangs up
//   oru_client_probe pushes <control server>
//       prints "connected", then every frame as "<type> <hex payload>"; after the
//       first searched-devices push asks for a broadcast search, and ends at its push

#include <client.h>
#include <stream_client.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace oru_client;
using T = oru_sdk::MessageType;

namespace {

bool hangUp(Connection &conn)
{
    QLocalSocket *socket = conn.localSocket();
    socket->flush();
    socket->disconnectFromServer();
    return spinUntil([socket] { return socket->state() == QLocalSocket::UnconnectedState; }, 5000);
}

int requests(const QString &control, const QString &stream)
{
    Client c;
    StreamClient s;
    if (!c.connectToServer(control) || !s.connectToServer(stream))
        return 2;
    c.setRequestIdPrefix(QStringLiteral("probe"));
    c.setTimeout(500);
    c.hello();
    c.getDevNet(QStringLiteral("cam1"));
    c.getPresets(QStringLiteral("cam1"), 2);
    c.getDevPlatformTav(QStringLiteral("nvr1"));
    c.setOSD({QString(), QStringLiteral("cam1"), 1, QStringLiteral("Gate 1")});
    c.modifyDevName({QString(), QStringLiteral("cam2"), QStringLiteral("Yard")});
    c.common({QStringLiteral("cam1"), 1}, QStringLiteral(R"({"method":"getDeviceInfo"})"));
    c.getDevSecretQuestions({QStringLiteral("SIM-IPC-0001"), QStringLiteral("admin")});
    c.searchDevs();
    c.rebootDevs({QStringLiteral("cam1"), QStringLiteral("cam2")});
    c.setDevsTime({QStringLiteral("cam1")}, QDateTime(QDate(2024, 5, 1), QTime(10, 0, 0, 250)));
    c.restoreFactory({QStringLiteral("nvr1")}, true);
    c.getDevChannelsInfo(QStringLiteral("cam1"));
    c.saasLogout();
    c.exit();
    s.openLive({QStringLiteral("cam1"), 1, 1});
    s.skipByOffsetTime(30);
    s.skipToTime(QDateTime(QDate(2024, 5, 1), QTime(10, 5, 0)));
    s.setSpeed(QStringLiteral("2X"));
    s.control(oru_sdk::PlaybackCtrl::Pause);
    return hangUp(c.connection()) && hangUp(s.connection()) ? 0 : 1;
}

int pushes(const QString &control)
{
    Client c;
    if (!c.connectToServer(control))
        return 2;
    QTextStream out(stdout);
    bool done = false;
    QObject::connect(&c, &Client::messageReceived, [&](T type, const QByteArray &payload) {
        out << int(type) << ' ' << payload.toHex() << Qt::endl;
        if (type == T::PushSearchedDevsMsg)
            c.broadcastSearchDevs();
        done = done || type == T::PushBroadcastSearchedDevsMsg;
    });
    out << "connected" << Qt::endl;
    return spinUntil([&] { return done; }, 20000) ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 4 && args[1] == QLatin1String("requests"))
        return requests(args[2], args[3]);
    if (args.size() == 3 && args[1] == QLatin1String("pushes"))
        return pushes(args[2]);
    QTextStream(stderr) << "usage: oru_client_probe requests <control> <stream> | pushes <control>" << Qt::endl;
    return 2;
}
