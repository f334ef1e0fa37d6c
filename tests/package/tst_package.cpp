#include "connection.h"
#include "oru_message.pb.h"
#include "wire_message.h"

#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using oru_client::Connection;
using oru_client::Frame;
using oru_sdk::MessageType;
namespace proto = oru_sdk_proto;

// The example host, built against the installed SDK, driven the way the main
// client drives a gateway: one main-client socket and one bystander socket.
class tst_Package : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void presetsAnswerGoesToTheAsker();
    void deviceStatusGoesToEverySocket();
    void hostEndsWhenMainClientLeaves();

private:
    QTemporaryDir dataHome;
    QProcess host;
    Connection control;
    Connection bystander;
};

void tst_Package::initTestCase()
{
    QVERIFY2(QFileInfo::exists(QStringLiteral(ORU_EXAMPLE_HOST)), "example host not built");
    QVERIFY(dataHome.isValid());
    // The log lands in the app data folder: keep it out of the real home.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), dataHome.path());
    host.setProcessEnvironment(env);
    host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QString prefix = QStringLiteral("oru-package-%1-").arg(QCoreApplication::applicationPid());
    const QString controlServer = prefix + QStringLiteral("control");
    host.start(QStringLiteral(ORU_EXAMPLE_HOST),
               {controlServer, prefix + QStringLiteral("stream"), QStringLiteral("log")});
    QVERIFY2(host.waitForStarted(), qPrintable(host.errorString()));
    while (!host.canReadLine() && host.waitForReadyRead(10000)) {}
    QCOMPARE(host.readLine().trimmed(), QByteArray("ready"));

    QVERIFY(control.connectToServer(controlServer));
    control.sendFrame(MessageType::MainClientHello);
    QVERIFY(bystander.connectToServer(controlServer));
}

void tst_Package::cleanupTestCase()
{
    if (host.state() != QProcess::NotRunning) {
        host.kill();
        host.waitForFinished();
    }
}

void tst_Package::presetsAnswerGoesToTheAsker()
{
    proto::ChannelReq request;
    request.set_request_id("presets-1");
    request.mutable_channel_id()->set_dev_id("cam-7");
    request.mutable_channel_id()->set_channel(2);
    control.sendFrame(MessageType::GetPresetsReq, oru_sdk::serializeMessage(request));

    Frame frame;
    QVERIFY(control.waitForFrame(&frame, 10000));
    QCOMPARE(frame.type, MessageType::GetPresetsRes);
    proto::GetPresetRes answer;
    QVERIFY(oru_sdk::parseMessage(frame.payload, &answer));
    QCOMPARE(answer.request_id(), std::string("presets-1"));
    QVERIFY(answer.has_error());
    QCOMPARE(answer.error().err_code(), 0);
    QCOMPARE(answer.presets_size(), 2);
    QCOMPARE(answer.presets(0).param_1(), 1u);
    QCOMPARE(answer.presets(0).preset_name(), std::string("gate"));
    QCOMPARE(answer.presets(1).param_1(), 2u);
    QCOMPARE(answer.presets(1).preset_name(), std::string("cam-7/2 yard"));
    QVERIFY(bystander.collectFrames().isEmpty());
}

void tst_Package::deviceStatusGoesToEverySocket()
{
    proto::SetManagedDevsCmd command;
    command.add_devs()->set_id("cam-7");
    command.add_devs()->set_id("cam-9");
    control.sendFrame(MessageType::SetManagedDevsCmd, oru_sdk::serializeMessage(command));

    for (Connection *socket : {&control, &bystander}) {
        for (const char *device : {"cam-7", "cam-9"}) {
            Frame frame;
            QVERIFY(socket->waitForFrame(&frame, 10000));
            QCOMPARE(frame.type, MessageType::PushDevStatusMsg);
            proto::DevStatusPush push;
            QVERIFY(oru_sdk::parseMessage(frame.payload, &push));
            QCOMPARE(push.dev_id(), std::string(device));
            QCOMPARE(push.status(), 1); // online
        }
    }
}

void tst_Package::hostEndsWhenMainClientLeaves()
{
    control.sendFrame(MessageType::MainClientExit);
    // Spins the event loop, which is what sends the frame.
    QTRY_COMPARE_WITH_TIMEOUT(host.state(), QProcess::NotRunning, 10000);
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 0);

    // The installed logging library wrote the host's log under its app data folder.
    QDirIterator logs(dataHome.path(), {QStringLiteral("oru.dgw.log")}, QDir::Files, QDirIterator::Subdirectories);
    QVERIFY(logs.hasNext());
    QFile log(logs.next());
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().contains("server response client get presets req"));
}

QTEST_GUILESS_MAIN(tst_Package)
#include "tst_package.moc"
