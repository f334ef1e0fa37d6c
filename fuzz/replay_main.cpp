// Runs a fuzz target's code over saved inputs without libFuzzer: every file
// named, every file in every directory named, and every input of every
// corpus pack named (*.pack: inputs one after another, each preceded by its
// length as a 32-bit little-endian number). Used by CTest to keep the inputs
// that once crashed a fuzzer, and the corpus, passing.
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int runs = 0;
    for (int i = 1; i < argc; ++i) {
        const QFileInfo arg(QString::fromLocal8Bit(argv[i]));
        QStringList files;
        if (arg.isDir()) {
            for (const QFileInfo &f : QDir(arg.filePath()).entryInfoList(QDir::Files, QDir::Name))
                files.append(f.filePath());
        } else if (arg.exists()) {
            files.append(arg.filePath());
        }
        for (const QString &path : qAsConst(files)) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
                return 1;
            }
            const QByteArray bytes = file.readAll();
            const auto run = [&runs](const char *data, size_t size) {
                LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(data), size);
                ++runs;
            };
            if (!path.endsWith(QLatin1String(".pack"))) {
                run(bytes.constData(), size_t(bytes.size()));
                continue;
            }
            for (int at = 0; at + 4 <= bytes.size();) {
                const uchar *head = reinterpret_cast<const uchar *>(bytes.constData()) + at;
                const int size = int(head[0] | (head[1] << 8) | (head[2] << 16) | (uint(head[3]) << 24));
                if (size < 0 || at + 4 + size > bytes.size()) {
                    std::fprintf(stderr, "%s: broken pack\n", qPrintable(path));
                    return 1;
                }
                run(bytes.constData() + at + 4, size_t(size));
                at += 4 + size;
            }
        }
    }
    std::printf("replayed %d inputs\n", runs);
    return 0;
}
