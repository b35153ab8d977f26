// The notes conversion and the voice memo listing at the sizes of a large library.
#include "memos/VoiceMemoLibrary.h"
#include "notes/NotesImport.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <stdexcept>

namespace {

// About 2 KB of the HTML a notes app writes: paragraphs, breaks, lists, a table, entities.
QString noteHtml(int n) {
    QString html = QString("<div><h1>Meeting %1 &amp; follow-ups</h1></div>\n").arg(n);
    html +=
        "<div>Talked with <b>Ada</b> about the Q3 plan&nbsp;&mdash; budget is &lt; 20k, "
        "timeline &quot;tight&quot;. It&#39;s fine.<br></div>\n";
    html +=
        "<ul><li>Send the deck to Linus</li><li class=\"done\">Book the room</li>"
        "<li>Ask about the <a href=\"https://example.com/x\">contract</a></li></ul>\n";
    html +=
        "<table><tr><td>Item</td><td>Owner</td></tr><tr><td>Slides</td><td>Me</td></tr>"
        "</table>\n";
    html += "<div><br></div><div><img src=\"attachment-1.png\" width=\"300\"></div>\n";
    while (html.size() < 1900) {
        html += QString(
                    "<div>Line %1 with some ordinary words, a <i>little</i> style and "
                    "&#8364;%2 in it.&nbsp; </div>\n")
                    .arg(html.size())
                    .arg(n % 97);
    }
    return html;
}

void PlainTextOfNotes(benchmark::State& state) {
    QList<QString> notes;
    qint64 bytes = 0;
    for (int i = 0; i < 10000; ++i) {
        notes << noteHtml(i);
        bytes += notes.back().toUtf8().size();
    }
    for (auto _ : state) {
        for (const QString& html : notes) {
            benchmark::DoNotOptimize(pelix::notes::NotesImport::plainText(html));
        }
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["notes"] = static_cast<double>(notes.size());
}
BENCHMARK(PlainTextOfNotes)->Unit(benchmark::kMillisecond);

// A recordings folder of 10,000 memos with a database that knows every one of them.
class Library {
public:
    Library() {
        if (!dir_.isValid()) throw std::runtime_error("no temporary folder");
        sqlite3* db = nullptr;
        sqlite3_open(QFile::encodeName(dir_.filePath("CloudRecordings.db")).constData(), &db);
        sqlite3_exec(db,
                     "CREATE TABLE ZCLOUDRECORDING (Z_PK INTEGER PRIMARY KEY, ZPATH TEXT, "
                     "ZENCRYPTEDTITLE TEXT, ZCUSTOMLABELFORSORTING TEXT, ZCUSTOMLABEL TEXT, "
                     "ZDATE REAL, ZDURATION REAL); BEGIN;",
                     nullptr, nullptr, nullptr);
        sqlite3_stmt* insert = nullptr;
        sqlite3_prepare_v2(db, "INSERT INTO ZCLOUDRECORDING VALUES (NULL, ?, ?, ?, ?, ?, ?)", -1,
                           &insert, nullptr);
        for (int i = 0; i < 10000; ++i) {
            const QByteArray name =
                QString("2026%1 %2.m4a").arg(i, 6, 10, QChar('0')).arg(i).toUtf8();
            QFile(dir_.filePath(QString::fromUtf8(name))).open(QIODevice::WriteOnly);
            const QByteArray path = "/private/var/mobile/Recordings/" + name;
            const QByteArray title =
                i % 3 == 0 ? QByteArray() : "Recording " + QByteArray::number(i);
            sqlite3_bind_text(insert, 1, path.constData(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_null(insert, 2);
            sqlite3_bind_text(insert, 3, title.constData(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(insert, 4, title.constData(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_double(insert, 5, 700000000.0 + i * 3600);
            sqlite3_bind_double(insert, 6, 10.0 + i % 600);
            sqlite3_step(insert);
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
        sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    }
    QString path() const { return dir_.path(); }

private:
    QTemporaryDir dir_;
};

void ListTenThousandMemos(benchmark::State& state) {
    const Library library;
    for (auto _ : state) {
        const auto memos = pelix::memos::VoiceMemoLibrary::memos(library.path());
        if (!memos || memos->size() != 10000) state.SkipWithError("the listing is incomplete");
        benchmark::DoNotOptimize(memos);
    }
}
BENCHMARK(ListTenThousandMemos)->Unit(benchmark::kMillisecond);

}  // namespace
