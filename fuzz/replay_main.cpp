// Runs a fuzz target's code over saved inputs without libFuzzer: every file
// named, or every file in every directory named. Used by CTest to keep each
// input that once crashed a fuzzer (and the seed corpus) passing.
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
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
            ++runs;
        }
    }
    std::printf("replayed %d inputs\n", runs);
    return 0;
}
