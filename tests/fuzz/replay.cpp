#include "fuzztarget.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstdlib>

// Feeds every file of a folder to the decoder, and shortened forms of it.

namespace {

void feed(const QByteArray &input)
{
    // Every length of a datagram, some of a long text.
    const int step = input.size() <= 200 ? 1 : input.size() / 32;
    // Every length starts at the beginning of a block of exactly that size, so that a sanitizer sees any read
    // beyond the end.
    for (int length = input.size(); length >= 0; length -= step) {
        const QByteArray part(input.constData(), length);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(part.constData()),
                               static_cast<std::size_t>(part.size()));
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("Usage: corpus_DECODER FOLDER\n", stderr);
        return EXIT_FAILURE;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    if (names.isEmpty()) {
        std::fprintf(stderr, "No inputs in %s\n", argv[1]);
        return EXIT_FAILURE;
    }
    for (const QString &name : names) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "Can't read %s: %s\n", qPrintable(name), qPrintable(file.errorString()));
            return EXIT_FAILURE;
        }
        const QByteArray input = file.readAll();
        std::printf("%s, %d bytes\n", qPrintable(name), input.size());
        // An input that stops the process must be the last one named.
        std::fflush(stdout);
        feed(input);
    }
    return EXIT_SUCCESS;
}
