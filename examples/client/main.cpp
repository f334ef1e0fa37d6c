// A small desktop-style main client: lists the gateway's devices, shows the
// presets of the first one and saves a few seconds of its live video.
//
//   oru_example_client [control server] [stream server] [seconds] [output file]

#include <oru_client/client.h>
#include <oru_client/stream_client.h>

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString control = args.value(1, QStringLiteral("oru_dgw_message"));
    const QString streams = args.value(2, QStringLiteral("oru_dgw_stream"));
    const int seconds = args.value(3, QStringLiteral("3")).toInt();
    const QString output = args.value(4, QStringLiteral("live.mjpeg"));
    QTextStream out(stdout);

    // Not the main client: no hello, so the gateway outlives this program.
    oru_client::Client client;
    if (!client.connectToServer(control)) {
        out << "no gateway on " << control << ": " << client.errorString() << Qt::endl;
        return 1;
    }

    // The device list comes as a push answering the search command.
    oru_sdk::DevInfoList devices;
    QObject::connect(&client, &oru_client::Client::searchedDevs,
                     [&](const oru_sdk::DevInfoList &found) { devices = found; });
    client.searchDevs();
    if (!oru_client::spinUntil([&] { return !devices.isEmpty(); }, 5000)) {
        out << "no device list from the gateway" << Qt::endl;
        return 1;
    }
    for (const oru_sdk::DevInfo &d : devices)
        out << "device " << d.id << " '" << d.name << "' " << d.ip << " sn " << d.sn << Qt::endl;

    const QString devId = devices.first().id;
    const auto presets = client.getPresets(devId, 1);
    if (!presets.wait()) {
        out << presets.errorString() << Qt::endl;
        return 1;
    }
    for (const oru_sdk::PresetInfo &p : presets.value())
        out << "preset " << p.number << " '" << p.name << "'" << Qt::endl;

    QFile file(output);
    if (!file.open(QIODevice::WriteOnly)) {
        out << "cannot write " << output << Qt::endl;
        return 1;
    }
    oru_client::StreamClient live;
    if (!live.connectToServer(streams)) {
        out << "no stream server on " << streams << Qt::endl;
        return 1;
    }
    QObject::connect(&live, &oru_client::StreamClient::dataReceived, [&](const QByteArray &data) { file.write(data); });
    live.openLive({devId, 1, 0});
    oru_client::spinUntil([] { return false; }, seconds * 1000);
    out << "saved " << live.dataFrames() << " pictures (" << live.dataBytes() << " bytes) of " << devId
        << " channel 1 to " << output << Qt::endl;
    return live.dataFrames() > 0 ? 0 : 1;
}
