// Writes the manual page pelix(1) from the description of the command line that --help prints.
// Usage: pelix-make-manual FILE VERSION DATE
#include "app/Usage.h"
#include "studio/EditCli.h"

#include <QSaveFile>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("Usage: pelix-make-manual FILE VERSION DATE\n", stderr);
        return 2;
    }
    using namespace pelix;
    const QString page =
        app::usage::manualPage(app::usage::pelix(), {
                                                        .version = argv[2],
                                                        .date = argv[3],
                                                        .extraTitle = "Editor commands",
                                                        .extraText = studio::editUsage(),
                                                    });
    QSaveFile file(QString::fromLocal8Bit(argv[1]));
    const QByteArray bytes = page.toUtf8();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(bytes) != bytes.size() || !file.commit()) {
        std::fprintf(stderr, "pelix-make-manual: couldn't write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
