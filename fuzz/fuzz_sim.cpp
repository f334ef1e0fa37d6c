// oru-dgw-sim's device model fed the requests the SDK decodes from arbitrary
// control frames. The input has the control target's layout, so its seeds
// and corpus fit: each record starts with an op byte;
//  op % 8 != 7: one inbound frame: code (signed byte), 16-bit length, payload;
//  op % 8 == 7: let the event loop run (PTZ, upgrade and search timers).
// The SDK turns each frame into its condition record and signal, and the
// model, connected directly, answers through the exported functions.
#include "device_model.h"
#include "fuzz_input.h"

#include "message_hamal.h"

#include <oru_sdk/dgw_signals.h>

#include <QCoreApplication>

using namespace oru_sdk;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication app(*argc, *argv);
    const QString id = QString::number(QCoreApplication::applicationPid());
    init_oru_dgw_sdk(QStringLiteral("fuzz_sim"), QStringLiteral("oru_fuzz_sim_msg_") + id,
                     QStringLiteral("oru_fuzz_sim_stream_") + id);
    // Static, so that its state is freed before the leak check at exit.
    static DeviceModel model(QByteArray(), 0, true);
    model.start();
    model.attach(Qt::DirectConnection);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    oru_fuzz::Input in(data, size);
    while (!in.empty()) {
        const quint8 op = in.byte();
        if (op % 8 == 7) {
            QCoreApplication::processEvents();
            continue;
        }
        // Exit and hello frames would end the servers; the model never sees them anyway.
        const auto type = MessageType(qint8(in.byte()));
        const QByteArray payload = in.bytes(in.u16());
        if (type != MessageType(3) && type != MessageType(4))
            MessageHamal::instance().slotMessageComing(-1, type, payload);
    }
    QCoreApplication::processEvents();
    return 0;
}
