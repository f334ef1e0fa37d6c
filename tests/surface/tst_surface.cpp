// The SDK's public face as a host sees it: the signal object, the meta-types
// and the library's exported symbols.
#include "sdk_fixture.h"

#include <oru_sdk/dgw_signals.h>

#include <QtTest>

using namespace oru_sdk;

namespace {

template <class... T>
QStringList texts(const T *...values)
{
    return {QString::fromLatin1(values)...};
}

// Every request signal in its fixed order, with the parameter names a host sees.
const QStringList kSignals = texts(
    "signalInitDgwReq(InitDgwCondition condition)", "signalMainClientExit()", "signalSearchDevsCmd()",
    "signalSetSearchDevsConfigCmd(SearchDevsConfig config)", "signalBroadcastSearchDevsCmd()",
    "signalSetManagedDevsCmd(DevInfoList devsInfo)", "signalAddManagedDevsCmd(DevInfoList devsInfo)",
    "signalDelManagedDevsCmd(QStringList devIds)", "signalEditManagedDevsCmd(DevInfoList devsInfo)",
    "signalSetDevsTimeCmd(QStringList devIds,QDateTime time)", "signalRebootDevsCmd(QStringList devIds)",
    "signalRestoreFactory(QStringList devIds,bool simple)", "signalReconnectDevsCmd(QStringList devIds)",
    "signalActivateDevsCmd(QStringList devSns,ActivateCondition condition)",
    "signalGetDevSecretQuestionsCmd(GetDevSecretQuestionsCondition condition)",
    "signalResetDevPwdCmd(ResetDevPwdCondition condition)", "signalGetDevChannelsInfo(QString devId)",
    "signalGetDevNetReq(QString requestId,QString devId)", "signalGetDevPlatformReq(GetDevPlatformCondition condition)",
    "signalSetDevPlatformReq(SetDevPlatformCondition condition)",
    "signalGetDevPlatform_tavReq(QString requestId,QString devId)",
    "signalSetDevPlatform_tavReq(SetDevPlatform_tavCondition condition)",
    "signalImportDevCertReq(ImportDevCertCondition condition)", "signalSetDevNetReq(SetDevNetCondition condition)",
    "signalSearchVideoRecsReq(RecsSearchCondition condition)", "signalGetRtspUrlReq(GetRtspUrlCondition condition)",
    "signalLiveVideoConnReq(StreamId streamId,LiveVideoConnCondition condition)",
    "signalPlaybackByFileReq(StreamId streamId,PlaybackByFileCondition condition)",
    "signalPlaybackByTimeReq(StreamId streamId,PlaybackByTimeCondition condition)",
    "signalSkipByOffsetTimeReq(StreamId streamId,uint offsetTime)",
    "signalSkipByAppointedTimeReq(StreamId streamId,QDateTime appointedTime)",
    "signalPlaybackCtrlReq(StreamId streamId,PlaybackCtrl ctrl)",
    "signalPlaybackSpeedSetReq(StreamId streamId,QString speed)", "signalPTZCtrlReq(PTZCtrlCondition condition)",
    "signalGetPresetsReq(ChannelCondition condition)", "signalOperPresetReq(PresetOperCondition condition)",
    "signalGetPatrolsReq(ChannelCondition condition)", "signalOperPatrolReq(PatrolOperCondition condition)",
    "signalOperPatrolPresetReq(PatrolPresetOperCondition condition)",
    "signalSetPatrolPresetsReq(SetPatrolPresetsCondition condition)", "signalSetOSDReq(SetOSDCondition condition)",
    "signalModifyDevNameReq(ModifyDevNameCondition condition)",
    "signalOpenDevRemoteConfigReq(QString devId,int language)",
    "signalCheckDevUpgradeReq(DevUpgradeCondtition condition)", "signalDoDevUpgradeCmd(DevUpgradeCondtition condition)",
    "signalGetDevUpgradeProgressReq(QString requestId,QString devId)",
    "signalModifyDevAccountReq(ModifyDevAccountCondition condition)", "signalDisconnectStream(StreamId streamId)",
    "signalAddFaceReq(ModifyFaceCondition condition)", "signalGetFacesReq(GetFacesCondition condition)",
    "signalDelFaceReq(DelFaceCondition condition)",
    "signalGetFaceDetectRecordsReq(GetFaceDetectRecordsCondition condition)",
    "signalClearFaceTemperatureCountCmd(QString devId)", "signalTalkOperReq(TalkOperCondition condition)",
    "signalSpeakOperReq(SpeakOperCondition condition)", "signalUploadFileReq(UploadFileCondition condition)",
    "signalDownloadFileReq(DownloadFileCondition condition)",
    "signalCommonReq(ChannelId channelId,QString requestId,QString reqJson)", "signalSetSaasTokenCmd(QString token)",
    "signalSaasLogoutCmd()");

// The exported free functions as the linker's demangler spells them, with the
// namespace (oru_sdk::) left out.
const QStringList kFunctions = texts(
    "init_oru_dgw_sdk(QString const&, QString const&, QString const&)", "release_oru_dgw_sdk()",
    "init_dgw_res(Response const&)", "activate_dev_res(QString const&, int)",
    "get_dev_net_res(Response const&, DevNetInfo const&)",
    "set_dev_net_res(Response const&, QString const&, QString const&)",
    "get_dev_platform_res(Response const&, DevPlatformInfo const&)", "set_dev_platform_res(Response const&)",
    "get_dev_platform_tav_res(Response const&, DevPlatform_tavInfo const&)",
    "set_dev_platform_tav_res(Response const&)", "import_dev_cert_res(Response const&)",
    "search_video_recordings_res(Response const&, QList<VideoRecInfo> const&, bool)",
    "get_rtsp_url_res(Response const&, QString const&)", "PTZ_ctrl_res(Response const&, PTZOperation, PTZAction)",
    "get_presets_res(Response const&, QList<PresetInfo> const&)", "oper_preset_res(Response const&, PresetOper)",
    "get_patrols_res(Response const&, QList<PatrolInfo> const&)", "oper_patrol_res(Response const&, PatrolOper)",
    "oper_patrol_preset_res(Response const&, PatrolPresetOper)", "set_patrol_presets_res(Response const&)",
    "dev_config_res(Response const&)", "add_face_res(Response const&)",
    "get_faces_res(Response const&, QList<FaceInfo> const&, unsigned int)", "del_face_res(Response const&)",
    "get_face_detect_records_res(Response const&, QList<FaceDetectRecordInfo> const&, unsigned int)",
    "check_dev_upgrade_res(Response const&, DevUpgradeInfo const&)", "upload_upgrade_file_finished(QString const&)",
    "get_dev_upgrade_progress_res(Response const&, DevUpgradeInfo const&)", "modify_dev_account_res(Response const&)",
    "get_dev_secret_questions_res(QString const&, int, QStringList const&)", "reset_dev_pwd_res(QString const&, int)",
    "talk_oper_res(Response const&)", "speak_oper_res(Response const&)", "common_res(QString const&, QString const&)",
    "push_searched_devs_msg(QList<DevInfo> const&)", "push_broadcast_searched_devs_msg(QList<DevInfo> const&)",
    "push_dev_status_msg(QString const&, DevStatus)", "push_dev_p2p_success(QString const&)",
    "push_dev_info_msg(DevInfoFromDgw const&)", "push_dev_temp_user_code_msg(QList<DevTempUserCode> const&)",
    "push_dev_channels_info_msg(QString const&, QList<DevChannelInfo> const&)",
    "push_face_detect_msg(QPair<QString, int> const&, FaceDetectRecordInfo const&)",
    "push_face_temperature_count_msg(QPair<QString, int> const&, FaceCountInfo const&)",
    "push_alarm_msg(AlarmInfo const&)", "push_tlv_data(QString const&, QByteArray const&)",
    "push_talk_event_msg(QPair<QString, int> const&, TalkEvent)",
    "push_speak_event_msg(QPair<QString, int> const&, TalkEvent)",
    "push_file_transfer_progress(FileTransferProgress const&)", "write_stream_data(unsigned int, QByteArray const&)",
    "push_stream_event_msg(unsigned int, StreamEvent)",
    "push_playback_by_file_progress_msg(unsigned int, unsigned int, unsigned int)",
    "push_playback_by_time_progress_msg(unsigned int, QDateTime const&)");

} // namespace

class tst_Surface : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { oru_test::startSdk(); }

    void signalObject();
    void metaTypesRegistered();
    void exportedSymbols();
};

void tst_Surface::signalObject()
{
    const QMetaObject &mo = DgwSignals::staticMetaObject;

    QStringList actual;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        const QMetaMethod m = mo.method(i);
        QCOMPARE(m.methodType(), QMetaMethod::Signal);
        QCOMPARE(m.access(), QMetaMethod::Public);
        QCOMPARE(m.returnType(), int(QMetaType::Void));
        QStringList params;
        for (int p = 0; p < m.parameterCount(); ++p)
            params << QString::fromLatin1(m.parameterTypes().at(p) + ' ' + m.parameterNames().at(p));
        actual << QString::fromLatin1(m.name()) + '(' + params.join(',') + ')';
    }
    QCOMPARE(kSignals.size(), 60);
    QCOMPARE(actual, kSignals);
}

// Every parameter type of every signal is known by the name moc recorded, so
// a host connecting by signature text can queue every argument. The library's
// own queued calls carry the other types (the outbound test sends from threads).
void tst_Surface::metaTypesRegistered()
{
    const QMetaObject &mo = DgwSignals::staticMetaObject;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        for (const QByteArray &type : mo.method(i).parameterTypes())
            QVERIFY2(QMetaType::type(type) != QMetaType::UnknownType, type);
    }
    QCOMPARE(QMetaType::type("StreamId"), int(QMetaType::UInt));
    QCOMPARE(QMetaType::type("DevInfoList"), qMetaTypeId<DevInfoList>());
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
    const QString cls = QStringLiteral("oru_sdk::DgwSignals");
    const QStringList classData{"typeinfo for " + cls, "typeinfo name for " + cls, "vtable for " + cls};
    const QStringList linkers{"_init", "_fini", "_edata", "_end", "__bss_start"};
    // What the sanitizers add: a marker per global, and the type information
    // of Qt's classes that the vptr check needs.
    const auto instrumentation = [](const QString &symbol) {
#ifdef ORU_SANITIZED
        return symbol.startsWith("__odr_asan") || symbol.startsWith("typeinfo for Q")
            || symbol.startsWith("typeinfo name for Q");
#else
        Q_UNUSED(symbol);
        return false;
#endif
    };
    for (const QString &line : QString::fromUtf8(process.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
        const QString symbol = line.section(' ', 2); // after address and kind
        if (symbol.startsWith(cls + "::"))
            members << symbol.mid(cls.size() + 2);
        else if (symbol.startsWith("oru_sdk::"))
            functions << QString(symbol).remove("oru_sdk::");
        else if (!classData.contains(symbol) && !linkers.contains(symbol) && !instrumentation(symbol))
            unexpected << symbol;
    }
    QCOMPARE(unexpected, QStringList());
    QCOMPARE(kFunctions.size(), 52);
    QStringList expected = kFunctions;
    expected.sort();
    functions.sort();
    QCOMPARE(functions, expected);

    for (const char *member :
         {"instance()", "staticMetaObject", "metaObject() const", "qt_metacast(char const*)",
          "qt_metacall(QMetaObject::Call, int, void**)", "signalSkipByOffsetTimeReq(unsigned int, unsigned int)",
          "signalCommonReq(QPair<QString, int> const&, QString const&, QString const&)"})
        QVERIFY2(members.contains(QLatin1String(member)), member);
    members.removeDuplicates(); // constructors and destructors come in several flavours
    QCOMPARE(members.filter(QRegularExpression("^signal")).size(), 60);
}

QTEST_GUILESS_MAIN(tst_Surface)
#include "tst_surface.moc"
