// A minimal gateway host: it starts the SDK on the server names it is given,
// answers every preset query with two presets, reports each device the main
// client hands over as online, and ends when the main client leaves.
//
//   oru_example_host <control server> <stream server> [log folder]

#include <oru_sdk/dgw_signals.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace oru_sdk;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3) {
        QTextStream(stderr) << "usage: " << args.value(0) << " <control server> <stream server> [log folder]\n";
        return 2;
    }

    DgwSignals &sdk = DgwSignals::instance();
    // The answer carries the request id: that is how the SDK finds the asking socket.
    QObject::connect(&sdk, &DgwSignals::signalGetPresetsReq, [](const ChannelCondition &request) {
        const QList<PresetInfo> presets{{1, QStringLiteral("gate")},
                                        {2, QStringLiteral("%1/%2 yard").arg(request.devId).arg(request.channel)}};
        get_presets_res(Response{request.requestId, 0, QString()}, presets);
    });
    // Pushes go to every connected control socket.
    QObject::connect(&sdk, &DgwSignals::signalSetManagedDevsCmd, [](const DevInfoList &devices) {
        for (const DevInfo &device : devices)
            push_dev_status_msg(device.id, DevStatus::Online);
    });
    // The servers are closed for good by now; a real gateway would stop its devices here.
    QObject::connect(&sdk, &DgwSignals::signalMainClientExit, &app, &QCoreApplication::quit);

    // Connected first, started second: no request can arrive before its slot is there.
    init_oru_dgw_sdk(args.value(3, QStringLiteral("oru_example_host")), args[1], args[2]);
    QTextStream(stdout) << "ready" << Qt::endl;

    const int code = app.exec();
    release_oru_dgw_sdk();
    return code;
}
