// The SDK's public face as a host sees it: the signal object, the meta-types,
// the record defaults, queued delivery and the library's exported symbols.
#include "sdk_fixture.h"

#include <oru_sdk/dgw_signals.h>

#include <QtTest>

#include <atomic>

using namespace oru_sdk;
using oru_client::Connection;

namespace {

// Every request signal in its fixed order, with the parameter names a host sees.
const char *const kSignals[] = {
    "signalInitDgwReq(InitDgwCondition condition)",
    "signalMainClientExit()",
    "signalSearchDevsCmd()",
    "signalSetSearchDevsConfigCmd(SearchDevsConfig config)",
    "signalBroadcastSearchDevsCmd()",
    "signalSetManagedDevsCmd(DevInfoList devsInfo)",
    "signalAddManagedDevsCmd(DevInfoList devsInfo)",
    "signalDelManagedDevsCmd(QStringList devIds)",
    "signalEditManagedDevsCmd(DevInfoList devsInfo)",
    "signalSetDevsTimeCmd(QStringList devIds,QDateTime time)",
    "signalRebootDevsCmd(QStringList devIds)",
    "signalRestoreFactory(QStringList devIds,bool simple)",
    "signalReconnectDevsCmd(QStringList devIds)",
    "signalActivateDevsCmd(QStringList devSns,ActivateCondition condition)",
    "signalGetDevSecretQuestionsCmd(GetDevSecretQuestionsCondition condition)",
    "signalResetDevPwdCmd(ResetDevPwdCondition condition)",
    "signalGetDevChannelsInfo(QString devId)",
    "signalGetDevNetReq(QString requestId,QString devId)",
    "signalGetDevPlatformReq(GetDevPlatformCondition condition)",
    "signalSetDevPlatformReq(SetDevPlatformCondition condition)",
    "signalGetDevPlatform_tavReq(QString requestId,QString devId)",
    "signalSetDevPlatform_tavReq(SetDevPlatform_tavCondition condition)",
    "signalImportDevCertReq(ImportDevCertCondition condition)",
    "signalSetDevNetReq(SetDevNetCondition condition)",
    "signalSearchVideoRecsReq(RecsSearchCondition condition)",
    "signalGetRtspUrlReq(GetRtspUrlCondition condition)",
    "signalLiveVideoConnReq(StreamId streamId,LiveVideoConnCondition condition)",
    "signalPlaybackByFileReq(StreamId streamId,PlaybackByFileCondition condition)",
    "signalPlaybackByTimeReq(StreamId streamId,PlaybackByTimeCondition condition)",
    "signalSkipByOffsetTimeReq(StreamId streamId,uint offsetTime)",
    "signalSkipByAppointedTimeReq(StreamId streamId,QDateTime appointedTime)",
    "signalPlaybackCtrlReq(StreamId streamId,PlaybackCtrl ctrl)",
    "signalPlaybackSpeedSetReq(StreamId streamId,QString speed)",
    "signalPTZCtrlReq(PTZCtrlCondition condition)",
    "signalGetPresetsReq(ChannelCondition condition)",
    "signalOperPresetReq(PresetOperCondition condition)",
    "signalGetPatrolsReq(ChannelCondition condition)",
    "signalOperPatrolReq(PatrolOperCondition condition)",
    "signalOperPatrolPresetReq(PatrolPresetOperCondition condition)",
    "signalSetPatrolPresetsReq(SetPatrolPresetsCondition condition)",
    "signalSetOSDReq(SetOSDCondition condition)",
    "signalModifyDevNameReq(ModifyDevNameCondition condition)",
    "signalOpenDevRemoteConfigReq(QString devId,int language)",
    "signalCheckDevUpgradeReq(DevUpgradeCondtition condition)",
    "signalDoDevUpgradeCmd(DevUpgradeCondtition condition)",
    "signalGetDevUpgradeProgressReq(QString requestId,QString devId)",
    "signalModifyDevAccountReq(ModifyDevAccountCondition condition)",
    "signalDisconnectStream(StreamId streamId)",
    "signalAddFaceReq(ModifyFaceCondition condition)",
    "signalGetFacesReq(GetFacesCondition condition)",
    "signalDelFaceReq(DelFaceCondition condition)",
    "signalGetFaceDetectRecordsReq(GetFaceDetectRecordsCondition condition)",
    "signalClearFaceTemperatureCountCmd(QString devId)",
    "signalTalkOperReq(TalkOperCondition condition)",
    "signalSpeakOperReq(SpeakOperCondition condition)",
    "signalUploadFileReq(UploadFileCondition condition)",
    "signalDownloadFileReq(DownloadFileCondition condition)",
    "signalCommonReq(ChannelId channelId,QString requestId,QString reqJson)",
    "signalSetSaasTokenCmd(QString token)",
    "signalSaasLogoutCmd()",
};

// The exported free functions, as the linker's demangler spells them.
const char *const kFunctions[] = {
    "oru_sdk::init_oru_dgw_sdk(QString const&, QString const&, QString const&)",
    "oru_sdk::release_oru_dgw_sdk()",
    "oru_sdk::init_dgw_res(oru_sdk::Response const&)",
    "oru_sdk::activate_dev_res(QString const&, int)",
    "oru_sdk::get_dev_net_res(oru_sdk::Response const&, oru_sdk::DevNetInfo const&)",
    "oru_sdk::set_dev_net_res(oru_sdk::Response const&, QString const&, QString const&)",
    "oru_sdk::get_dev_platform_res(oru_sdk::Response const&, oru_sdk::DevPlatformInfo const&)",
    "oru_sdk::set_dev_platform_res(oru_sdk::Response const&)",
    "oru_sdk::get_dev_platform_tav_res(oru_sdk::Response const&, oru_sdk::DevPlatform_tavInfo const&)",
    "oru_sdk::set_dev_platform_tav_res(oru_sdk::Response const&)",
    "oru_sdk::import_dev_cert_res(oru_sdk::Response const&)",
    "oru_sdk::search_video_recordings_res(oru_sdk::Response const&, QList<oru_sdk::VideoRecInfo> const&, bool)",
    "oru_sdk::get_rtsp_url_res(oru_sdk::Response const&, QString const&)",
    "oru_sdk::PTZ_ctrl_res(oru_sdk::Response const&, oru_sdk::PTZOperation, oru_sdk::PTZAction)",
    "oru_sdk::get_presets_res(oru_sdk::Response const&, QList<oru_sdk::PresetInfo> const&)",
    "oru_sdk::oper_preset_res(oru_sdk::Response const&, oru_sdk::PresetOper)",
    "oru_sdk::get_patrols_res(oru_sdk::Response const&, QList<oru_sdk::PatrolInfo> const&)",
    "oru_sdk::oper_patrol_res(oru_sdk::Response const&, oru_sdk::PatrolOper)",
    "oru_sdk::oper_patrol_preset_res(oru_sdk::Response const&, oru_sdk::PatrolPresetOper)",
    "oru_sdk::set_patrol_presets_res(oru_sdk::Response const&)",
    "oru_sdk::dev_config_res(oru_sdk::Response const&)",
    "oru_sdk::add_face_res(oru_sdk::Response const&)",
    "oru_sdk::get_faces_res(oru_sdk::Response const&, QList<oru_sdk::FaceInfo> const&, unsigned int)",
    "oru_sdk::del_face_res(oru_sdk::Response const&)",
    "oru_sdk::get_face_detect_records_res(oru_sdk::Response const&, QList<oru_sdk::FaceDetectRecordInfo> const&, "
    "unsigned int)",
    "oru_sdk::check_dev_upgrade_res(oru_sdk::Response const&, oru_sdk::DevUpgradeInfo const&)",
    "oru_sdk::upload_upgrade_file_finished(QString const&)",
    "oru_sdk::get_dev_upgrade_progress_res(oru_sdk::Response const&, oru_sdk::DevUpgradeInfo const&)",
    "oru_sdk::modify_dev_account_res(oru_sdk::Response const&)",
    "oru_sdk::get_dev_secret_questions_res(QString const&, int, QStringList const&)",
    "oru_sdk::reset_dev_pwd_res(QString const&, int)",
    "oru_sdk::talk_oper_res(oru_sdk::Response const&)",
    "oru_sdk::speak_oper_res(oru_sdk::Response const&)",
    "oru_sdk::common_res(QString const&, QString const&)",
    "oru_sdk::push_searched_devs_msg(QList<oru_sdk::DevInfo> const&)",
    "oru_sdk::push_broadcast_searched_devs_msg(QList<oru_sdk::DevInfo> const&)",
    "oru_sdk::push_dev_status_msg(QString const&, oru_sdk::DevStatus)",
    "oru_sdk::push_dev_p2p_success(QString const&)",
    "oru_sdk::push_dev_info_msg(oru_sdk::DevInfoFromDgw const&)",
    "oru_sdk::push_dev_temp_user_code_msg(QList<oru_sdk::DevTempUserCode> const&)",
    "oru_sdk::push_dev_channels_info_msg(QString const&, QList<oru_sdk::DevChannelInfo> const&)",
    "oru_sdk::push_face_detect_msg(QPair<QString, int> const&, oru_sdk::FaceDetectRecordInfo const&)",
    "oru_sdk::push_face_temperature_count_msg(QPair<QString, int> const&, oru_sdk::FaceCountInfo const&)",
    "oru_sdk::push_alarm_msg(oru_sdk::AlarmInfo const&)",
    "oru_sdk::push_tlv_data(QString const&, QByteArray const&)",
    "oru_sdk::push_talk_event_msg(QPair<QString, int> const&, oru_sdk::TalkEvent)",
    "oru_sdk::push_speak_event_msg(QPair<QString, int> const&, oru_sdk::TalkEvent)",
    "oru_sdk::push_file_transfer_progress(oru_sdk::FileTransferProgress const&)",
    "oru_sdk::write_stream_data(unsigned int, QByteArray const&)",
    "oru_sdk::push_stream_event_msg(unsigned int, oru_sdk::StreamEvent)",
    "oru_sdk::push_playback_by_file_progress_msg(unsigned int, unsigned int, unsigned int)",
    "oru_sdk::push_playback_by_time_progress_msg(unsigned int, QDateTime const&)",
};

QString withoutNames(const char *signature)
{
    return QString::fromLatin1(signature).remove(QRegularExpression(QStringLiteral(R"( \w+(?=[,)]))")));
}

} // namespace

// A host-side receiver living in its own thread, connected by name the way a
// host built against older headers would connect.
class Receiver : public QObject
{
    Q_OBJECT

public:
    QStringList devSns;
    ActivateCondition activation;
    ModifyFaceCondition face;
    QThread *ranIn[2] = {nullptr, nullptr};
    std::atomic<int> received{0};

public slots:
    void onActivate(const QStringList &sns, const ActivateCondition &condition)
    {
        devSns = sns;
        activation = condition;
        ranIn[0] = QThread::currentThread();
        ++received;
    }
    void onAddFace(const ModifyFaceCondition &condition)
    {
        face = condition;
        ranIn[1] = QThread::currentThread();
        ++received;
    }
};

class tst_Surface : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { oru_test::startSdk(); }

    void signalObject();
    void metaTypesRegistered();
    void recordDefaults();
    void queuedDeliveryCopiesRecords();
    void answerForUnknownRequestSendsNothing();
    void exportedSymbols();
};

void tst_Surface::signalObject()
{
    QCOMPARE(&DgwSignals::instance(), &DgwSignals::instance());
    QVERIFY(!DgwSignals::instance().parent());
    const QMetaObject &mo = DgwSignals::staticMetaObject;
    QCOMPARE(mo.className(), "oru_sdk::DgwSignals");
    QCOMPARE(mo.superClass(), &QObject::staticMetaObject);
    QCOMPARE(DgwSignals::instance().metaObject(), &mo);

    QStringList actual, actualNamed;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        const QMetaMethod m = mo.method(i);
        QCOMPARE(m.methodType(), QMetaMethod::Signal);
        QCOMPARE(m.access(), QMetaMethod::Public);
        QCOMPARE(m.returnType(), int(QMetaType::Void));
        QCOMPARE(m.methodIndex() - mo.methodOffset(), actual.size());
        actual << QString::fromLatin1(m.methodSignature());
        QStringList params;
        for (int p = 0; p < m.parameterCount(); ++p)
            params << QString::fromLatin1(m.parameterTypes().at(p) + ' ' + m.parameterNames().at(p));
        actualNamed << QString::fromLatin1(m.name()) + QLatin1Char('(') + params.join(QLatin1Char(','))
                + QLatin1Char(')');
    }
    QStringList expected, expectedNamed;
    for (const char *s : kSignals) {
        expectedNamed << QString::fromLatin1(s);
        expected << withoutNames(s);
    }
    QCOMPARE(int(std::size(kSignals)), 60);
    QCOMPARE(actual, expected);
    QCOMPARE(actualNamed, expectedNamed);
    // The typed handle and the index agree.
    QCOMPARE(QMetaMethod::fromSignal(&DgwSignals::signalSkipByOffsetTimeReq).methodIndex() - mo.methodOffset(), 29);
    QCOMPARE(QMetaMethod::fromSignal(&DgwSignals::signalSaasLogoutCmd).methodIndex() - mo.methodOffset(), 59);
}

void tst_Surface::metaTypesRegistered()
{
    // Registered names resolve to the very types (typedefs included), so a
    // host connecting by signature text can queue every argument.
    const QList<QPair<const char *, int>> names{
        {"InitDgwCondition", qMetaTypeId<InitDgwCondition>()},
        {"SearchDevsConfig", qMetaTypeId<SearchDevsConfig>()},
        {"RecsSearchCondition", qMetaTypeId<RecsSearchCondition>()},
        {"LiveVideoConnCondition", qMetaTypeId<LiveVideoConnCondition>()},
        {"PlaybackByFileCondition", qMetaTypeId<PlaybackByFileCondition>()},
        {"PlaybackByTimeCondition", qMetaTypeId<PlaybackByTimeCondition>()},
        {"PTZCtrlCondition", qMetaTypeId<PTZCtrlCondition>()},
        {"PresetOperCondition", qMetaTypeId<PresetOperCondition>()},
        {"ChannelCondition", qMetaTypeId<ChannelCondition>()},
        {"PatrolOperCondition", qMetaTypeId<PatrolOperCondition>()},
        {"PatrolPresetOperCondition", qMetaTypeId<PatrolPresetOperCondition>()},
        {"SetOSDCondition", qMetaTypeId<SetOSDCondition>()},
        {"ModifyFaceCondition", qMetaTypeId<ModifyFaceCondition>()},
        {"GetFacesCondition", qMetaTypeId<GetFacesCondition>()},
        {"DelFaceCondition", qMetaTypeId<DelFaceCondition>()},
        {"GetFaceDetectRecordsCondition", qMetaTypeId<GetFaceDetectRecordsCondition>()},
        {"SetDevNetCondition", qMetaTypeId<SetDevNetCondition>()},
        {"ChannelId", qMetaTypeId<ChannelId>()},
        {"ModifyDevNameCondition", qMetaTypeId<ModifyDevNameCondition>()},
        {"DevUpgradeCondtition", qMetaTypeId<DevUpgradeCondtition>()},
        {"ModifyDevAccountCondition", qMetaTypeId<ModifyDevAccountCondition>()},
        {"DevUpgradeInfo", qMetaTypeId<DevUpgradeInfo>()},
        {"TalkOperCondition", qMetaTypeId<TalkOperCondition>()},
        {"SpeakOperCondition", qMetaTypeId<SpeakOperCondition>()},
        {"ActivateCondition", qMetaTypeId<ActivateCondition>()},
        {"GetDevPlatformCondition", qMetaTypeId<GetDevPlatformCondition>()},
        {"SetDevPlatformCondition", qMetaTypeId<SetDevPlatformCondition>()},
        {"ImportDevCertCondition", qMetaTypeId<ImportDevCertCondition>()},
        {"GetDevSecretQuestionsCondition", qMetaTypeId<GetDevSecretQuestionsCondition>()},
        {"ResetDevPwdCondition", qMetaTypeId<ResetDevPwdCondition>()},
        {"SetDevPlatform_tavCondition", qMetaTypeId<SetDevPlatform_tavCondition>()},
        {"GetRtspUrlCondition", qMetaTypeId<GetRtspUrlCondition>()},
        {"SetPatrolPresetsCondition", qMetaTypeId<SetPatrolPresetsCondition>()},
        {"UploadFileCondition", qMetaTypeId<UploadFileCondition>()},
        {"DownloadFileCondition", qMetaTypeId<DownloadFileCondition>()},
        {"StreamId", qMetaTypeId<StreamId>()},
        {"DevInfoList", qMetaTypeId<DevInfoList>()},
        {"DevStatus", qMetaTypeId<DevStatus>()},
        {"DevInfoFromDgw", qMetaTypeId<DevInfoFromDgw>()},
        {"ChanStatusList", qMetaTypeId<ChanStatusList>()},
        {"Response", qMetaTypeId<Response>()},
        {"VideoRecList", qMetaTypeId<VideoRecList>()},
        {"StreamEvent", qMetaTypeId<StreamEvent>()},
        {"DevChanInfoList", qMetaTypeId<DevChanInfoList>()},
        {"PTZOperation", qMetaTypeId<PTZOperation>()},
        {"PTZAction", qMetaTypeId<PTZAction>()},
        {"PresetList", qMetaTypeId<PresetList>()},
        {"PresetOper", qMetaTypeId<PresetOper>()},
        {"PatrolList", qMetaTypeId<PatrolList>()},
        {"PatrolOper", qMetaTypeId<PatrolOper>()},
        {"PatrolPresetOper", qMetaTypeId<PatrolPresetOper>()},
        {"FaceInfoList", qMetaTypeId<FaceInfoList>()},
        {"FaceDetectRecordList", qMetaTypeId<FaceDetectRecordList>()},
        {"FaceDetectRecordInfo", qMetaTypeId<FaceDetectRecordInfo>()},
        {"DevTempUserCodeList", qMetaTypeId<DevTempUserCodeList>()},
        {"FaceCountInfo", qMetaTypeId<FaceCountInfo>()},
        {"AlarmInfo", qMetaTypeId<AlarmInfo>()},
        {"DevNetInfo", qMetaTypeId<DevNetInfo>()},
        {"TalkEvent", qMetaTypeId<TalkEvent>()},
        {"DevPlatformInfo", qMetaTypeId<DevPlatformInfo>()},
        {"DevPlatform_tavInfo", qMetaTypeId<DevPlatform_tavInfo>()},
        {"FileTransferProgress", qMetaTypeId<FileTransferProgress>()},
        {"MessageType", qMetaTypeId<MessageType>()},
        {"PlaybackCtrl", qMetaTypeId<PlaybackCtrl>()},
    };
    for (const auto &name : names) {
        QVERIFY2(QMetaType::type(name.first) != QMetaType::UnknownType, name.first);
        QVERIFY2(QMetaType::type(name.first) == name.second, name.first);
    }
    QCOMPARE(QMetaType::type("StreamId"), int(QMetaType::UInt));
    // Every parameter type of every signal is known by the name moc recorded.
    const QMetaObject &mo = DgwSignals::staticMetaObject;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        for (const QByteArray &type : mo.method(i).parameterTypes())
            QVERIFY2(QMetaType::type(type) != QMetaType::UnknownType, type);
    }
}

void tst_Surface::recordDefaults()
{
    QCOMPARE(ActivateCondition(), (ActivateCondition{QStringLiteral("admin"), QString(), {}, 0}));
    QCOMPARE(GetDevSecretQuestionsCondition(), (GetDevSecretQuestionsCondition{QString(), QStringLiteral("admin")}));
    QCOMPARE(ResetDevPwdCondition(), (ResetDevPwdCondition{QString(), QStringLiteral("admin"), QString(), {}}));
    QCOMPARE(RecsSearchCondition(), (RecsSearchCondition{QString(), QString(), 0, 0, 1, QDateTime(), QDateTime()}));
    QCOMPARE(SetDevNetCondition(),
             (SetDevNetCondition{QString(), QString(), QString(), QString(), QString(), QString(), false, -1, -1, -1}));
    // Everything else starts empty.
    QCOMPARE(InitDgwCondition(),
             (InitDgwCondition{QString(), QString(), QString(), QString(), QString(), 0, QString(), 0, QString(),
                               QString()}));
    QVERIFY(!ModifyFaceCondition().validTime.isValid());
    QVERIFY(ModifyFaceCondition().faceImage.isEmpty());
}

void tst_Surface::queuedDeliveryCopiesRecords()
{
    QThread thread;
    Receiver receiver;
    receiver.moveToThread(&thread);
    thread.start();
    DgwSignals *dgw = &DgwSignals::instance();
    QVERIFY(QObject::connect(dgw, SIGNAL(signalActivateDevsCmd(QStringList, ActivateCondition)), &receiver,
                             SLOT(onActivate(QStringList, ActivateCondition)), Qt::QueuedConnection));
    QVERIFY(QObject::connect(dgw, SIGNAL(signalAddFaceReq(ModifyFaceCondition)), &receiver,
                             SLOT(onAddFace(ModifyFaceCondition)), Qt::QueuedConnection));

    QStringList sns{QStringLiteral("SN-1"), QString(), QStringLiteral("SN-\u00e9")};
    ActivateCondition activation{QStringLiteral("operator"),
                                 QStringLiteral("p\u00e4ss"),
                                 {{QStringLiteral("q1"), QStringLiteral("a1")}, {QString(), QStringLiteral("a2")}},
                                 -7};
    const QDateTime from(QDate(2024, 1, 2), QTime(3, 4, 5, 6));
    ModifyFaceCondition face{QStringLiteral("rid"),
                             QStringLiteral("dev"),
                             3,
                             QStringLiteral("serial"),
                             QStringLiteral("name"),
                             -6,
                             7,
                             8,
                             QStringLiteral("type"),
                             from,
                             from.addDays(30),
                             QByteArray("\x00\xff\x00\xffimg\x00", 8),
                             {QStringLiteral("org1"), QStringLiteral("org2")}};
    const QStringList sentSns = sns;
    const ActivateCondition sentActivation = activation;
    const ModifyFaceCondition sentFace = face;

    emit dgw->signalActivateDevsCmd(sns, activation);
    emit dgw->signalAddFaceReq(face);
    // The host gets copies: what the sender does afterwards does not reach it.
    sns[0] = QStringLiteral("changed");
    activation.secretInfos.clear();
    face.faceImage[1] = 'x';
    face.organizations.removeLast();

    QTRY_COMPARE(receiver.received.load(), 2);
    thread.quit();
    QVERIFY(thread.wait(5000));
    QCOMPARE(receiver.ranIn[0], &thread);
    QCOMPARE(receiver.ranIn[1], &thread);
    QCOMPARE(receiver.devSns, sentSns);
    QVERIFY(receiver.activation == sentActivation);
    QVERIFY(receiver.face == sentFace);
    QCOMPARE(receiver.face.faceImage, QByteArray("\x00\xff\x00\xffimg\x00", 8));
    QObject::disconnect(dgw, nullptr, &receiver, nullptr);
}

void tst_Surface::answerForUnknownRequestSendsNothing()
{
    Connection client;
    QVERIFY(oru_test::connectControl(&client));
    QTest::qWait(100);
    oru_test::LogCursor cursor;
    const Response unknown{QStringLiteral("never-asked"), 5, QStringLiteral("no")};
    init_dgw_res(unknown);
    get_presets_res(unknown, {PresetInfo{1, QStringLiteral("p")}});
    search_video_recordings_res(unknown, {}, true);
    add_face_res(unknown);
    dev_config_res(unknown);
    common_res(QStringLiteral("never-asked"), QStringLiteral("{}"));
    push_file_transfer_progress(FileTransferProgress{QStringLiteral("never-asked"), 1, 2});
    // Also when the call comes from another thread and is queued into the library's.
    QThread *other = QThread::create([&] { talk_oper_res(unknown); });
    other->start();
    QVERIFY(other->wait(5000));
    delete other;
    QCOMPARE(client.collectFrames(300).size(), 0);
    QCOMPARE(cursor.lines(), QStringList());
    QVERIFY(client.isConnected());
}

void tst_Surface::exportedSymbols()
{
    const QString nm = QStandardPaths::findExecutable(QStringLiteral("nm"));
    if (nm.isEmpty())
        QSKIP("nm is not installed");
    QProcess process;
    process.start(nm,
                  {QStringLiteral("-D"), QStringLiteral("--defined-only"), QStringLiteral("-C"),
                   QStringLiteral(ORU_SDK_LIBRARY_PATH)});
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 0);

    QStringList functions, members, unexpected;
    const QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.isEmpty())
            continue;
        const QString symbol = line.section(QLatin1Char(' '), 2); // after address and kind
        if (symbol.startsWith(QLatin1String("oru_sdk::DgwSignals::")))
            members << symbol;
        else if (symbol.startsWith(QLatin1String("oru_sdk::")))
            functions << symbol;
        else if (symbol == QLatin1String("typeinfo for oru_sdk::DgwSignals")
                 || symbol == QLatin1String("typeinfo name for oru_sdk::DgwSignals")
                 || symbol == QLatin1String("vtable for oru_sdk::DgwSignals"))
            continue;
        else if (!QStringList{"_init", "_fini", "_edata", "_end", "__bss_start"}.contains(symbol)) // linker's own
            unexpected << symbol;
    }
    QCOMPARE(unexpected, QStringList());

    QStringList expected;
    for (const char *f : kFunctions)
        expected << QString::fromLatin1(f);
    QCOMPARE(expected.size(), 52);
    expected.sort();
    functions.sort();
    QCOMPARE(functions, expected);

    members.removeDuplicates(); // constructors and destructors come in several flavours
    for (const char *member :
         {"oru_sdk::DgwSignals::instance()", "oru_sdk::DgwSignals::staticMetaObject",
          "oru_sdk::DgwSignals::metaObject() const", "oru_sdk::DgwSignals::qt_metacast(char const*)",
          "oru_sdk::DgwSignals::qt_metacall(QMetaObject::Call, int, void**)",
          "oru_sdk::DgwSignals::signalSkipByOffsetTimeReq(unsigned int, unsigned int)",
          "oru_sdk::DgwSignals::signalCommonReq(QPair<QString, int> const&, QString const&, QString const&)"})
        QVERIFY2(members.contains(QLatin1String(member)), member);
    const QStringList signalSymbols =
        members.filter(QRegularExpression(QStringLiteral("^oru_sdk::DgwSignals::signal")));
    QCOMPARE(signalSymbols.size(), 60);
}

QTEST_GUILESS_MAIN(tst_Surface)
#include "tst_surface.moc"
