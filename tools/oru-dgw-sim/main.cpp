// oru-dgw-sim: a device gateway with imaginary devices, built on the SDK the
// way a real gateway is. Requests are answered by a device model on a worker
// thread; live video and playback are JPEG pictures drawn on the main thread.

#include "device_model.h"
#include "media.h"

#include <oru_sdk/dgw_signals.h>

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QSocketNotifier>
#include <QTextStream>
#include <QThread>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

using namespace oru_sdk;

namespace {

int signalPipe[2] = {-1, -1};

// Only async-signal-safe work here: the event loop reads the byte.
void onStopSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(signalPipe[0], &byte, 1);
}

// A connection that succeeds means a live gateway holds the name; the SDK
// would take the name over, so look before initialising it.
bool inUse(const QString &name)
{
    QLocalSocket probe;
    probe.connectToServer(name);
    return probe.waitForConnected(500);
}

} // namespace

int main(int argc, char *argv[])
{
    // Pictures need a GUI application, not a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("oru-dgw-sim"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ORU_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Simulated device gateway: serves the main client's requests with imaginary cameras and recorders,\n"
        "streams live video and playback as JPEG pictures, and ends when the main client leaves."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption messageServer(QStringLiteral("message-server"), QStringLiteral("Control server name."),
                                           QStringLiteral("name"), QStringLiteral("oru_dgw_message"));
    const QCommandLineOption streamServer(QStringLiteral("stream-server"), QStringLiteral("Stream server name."),
                                          QStringLiteral("name"), QStringLiteral("oru_dgw_stream"));
    const QCommandLineOption logDir(QStringLiteral("log-dir"),
                                    QStringLiteral("Log folder, inside the application data folder."),
                                    QStringLiteral("dir"), QStringLiteral("logs"));
    const QCommandLineOption fps(QStringLiteral("fps"), QStringLiteral("Pictures per second of every stream (1-60)."),
                                 QStringLiteral("n"), QStringLiteral("10"));
    const QCommandLineOption devicesFile(QStringLiteral("devices"),
                                         QStringLiteral("JSON file with an array of devices: id, name, sn, ip, port, "
                                                        "user, password, model, version, channels, activated, status."),
                                         QStringLiteral("file"));
    const QCommandLineOption alarmInterval(QStringLiteral("alarm-interval"),
                                           QStringLiteral("Seconds between simulated alarms; 0 for none."),
                                           QStringLiteral("s"), QStringLiteral("15"));
    const QCommandLineOption quiet(QStringLiteral("quiet"), QStringLiteral("Print nothing per request."));
    parser.addOptions({messageServer, streamServer, logDir, fps, devicesFile, alarmInterval, quiet});
    parser.process(app);

    QTextStream err(stderr);
    bool fpsOk = false, alarmOk = false;
    const int framesPerSecond = parser.value(fps).toInt(&fpsOk);
    const int alarmSeconds = parser.value(alarmInterval).toInt(&alarmOk);
    if (!fpsOk || framesPerSecond < 1 || framesPerSecond > 60 || !alarmOk || alarmSeconds < 0) {
        err << "oru-dgw-sim: --fps takes 1 to 60 and --alarm-interval a number of seconds" << Qt::endl;
        return 2;
    }
    QByteArray devicesJson;
    if (parser.isSet(devicesFile)) {
        QFile file(parser.value(devicesFile));
        if (!file.open(QIODevice::ReadOnly)) {
            err << "oru-dgw-sim: cannot read " << file.fileName() << ": " << file.errorString() << Qt::endl;
            return 2;
        }
        devicesJson = file.readAll();
    }

    for (const QString &name : {parser.value(messageServer), parser.value(streamServer)})
        if (inUse(name)) {
            err << "oru-dgw-sim: a gateway is already listening on '" << name << "'" << Qt::endl;
            return 2;
        }

    // SIGTERM and SIGINT end the event loop like the main client's exit does.
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) == 0) {
        auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, &app);
        QObject::connect(notifier, &QSocketNotifier::activated, &app, [] {
            char byte;
            [[maybe_unused]] const ssize_t n = ::read(signalPipe[1], &byte, 1);
            QCoreApplication::quit();
        });
        struct sigaction action = {};
        action.sa_handler = onStopSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        sigaction(SIGTERM, &action, nullptr);
        sigaction(SIGINT, &action, nullptr);
    }

    auto *model = new DeviceModel(devicesJson, alarmSeconds, parser.isSet(quiet));
    if (!model->isValid()) {
        err << "oru-dgw-sim: bad device list: " << model->loadError() << Qt::endl;
        return 2;
    }
    QThread worker;
    worker.setObjectName(QStringLiteral("device model"));
    model->moveToThread(&worker);
    QObject::connect(&worker, &QThread::finished, model, &QObject::deleteLater);
    worker.start();
    QMetaObject::invokeMethod(model, &DeviceModel::start, Qt::QueuedConnection);

    MediaStreams media(model, framesPerSecond);

    init_oru_dgw_sdk(parser.value(logDir), parser.value(messageServer), parser.value(streamServer));
    const DgwSignals &sdk = DgwSignals::instance();

    // Requests: queued into the model's thread.
    model->attach(Qt::QueuedConnection);

    // Streams: on this thread.
    QObject::connect(&sdk, &DgwSignals::signalLiveVideoConnReq, &media, &MediaStreams::openLive);
    QObject::connect(&sdk, &DgwSignals::signalPlaybackByFileReq, &media, &MediaStreams::openPlaybackByFile);
    QObject::connect(&sdk, &DgwSignals::signalPlaybackByTimeReq, &media, &MediaStreams::openPlaybackByTime);
    QObject::connect(&sdk, &DgwSignals::signalSkipByOffsetTimeReq, &media, &MediaStreams::skipByOffset);
    QObject::connect(&sdk, &DgwSignals::signalSkipByAppointedTimeReq, &media, &MediaStreams::skipToTime);
    QObject::connect(&sdk, &DgwSignals::signalPlaybackCtrlReq, &media, &MediaStreams::control);
    QObject::connect(&sdk, &DgwSignals::signalPlaybackSpeedSetReq, &media, &MediaStreams::setSpeed);
    QObject::connect(&sdk, &DgwSignals::signalDisconnectStream, &media, &MediaStreams::close);

    // The servers are closed for good once the main client has left.
    QObject::connect(
        &sdk, &DgwSignals::signalMainClientExit, &app,
        [model] {
            model->note(QStringLiteral("main client left: stopping"));
            QCoreApplication::quit();
        },
        Qt::QueuedConnection);

    model->note(QStringLiteral("oru-dgw-sim: %1 devices, control server '%2', stream server '%3', %4 fps")
                    .arg(model->deviceCount())
                    .arg(parser.value(messageServer), parser.value(streamServer))
                    .arg(framesPerSecond));
    const int code = app.exec();
    worker.quit();
    worker.wait();
    release_oru_dgw_sdk();
    // The SDK's servers live until the process ends; their names are ours to free.
    QLocalServer::removeServer(parser.value(messageServer));
    QLocalServer::removeServer(parser.value(streamServer));
    return code;
}
