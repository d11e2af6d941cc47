#include "palette/Romaji.h"

#include <gtest/gtest.h>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

struct Case {
    QString text;
    QString expected;
};

template <size_t N>
void expectTranscriptions(const Case (&cases)[N], QString (*transcribe)(const QString&))
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        EXPECT_EQ(transcribe(c.text), c.expected);
    }
}

TEST(RomajiTest, TranscribesJapaneseTitles)
{
    const Case cases[] = {
        {u"新規フォルダ"_s, u"shinkiforuda"_s},
        {u"ゴミ箱に入れる"_s, u"gomibakoniireru"_s},
        {u"コピー"_s, u"kopi"_s},
        {u"Copy File"_s, u"copyfile"_s},
        {u"Café  Menü"_s, u"cafemenu"_s},
        {u"新規 Folder"_s, u"shinkifolder"_s},
        {u"ＡＢＣ　ファイル"_s, u"abcfairu"_s},
        {u"ABC Report 2024"_s, u"abcreport2024"_s},
        {u"東京タワー"_s, u"toukyoutawa"_s},
        {u""_s, u""_s},
    };
    expectTranscriptions(cases, &Romaji::transcribe);
}

TEST(RomajiTest, KanaOnlyPathLeavesKanji)
{
    const Case cases[] = {
        {u"コピー"_s, u"kopi"_s},
        {u"ゴミ箱に入れる"_s, u"gomi箱ni入reru"_s},
        {u"New Folder"_s, u"newfolder"_s},
        {u"Ébauche"_s, u"ebauche"_s},
    };
    expectTranscriptions(cases, &Romaji::transcribeKanaOnly);
}

TEST(RomajiTest, ConcurrentCallsAgree)
{
    const QString expected = Romaji::transcribe(u"ゴミ箱に入れる"_s);
    std::vector<std::thread> threads;
    std::atomic<int> mismatches = 0;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                if (Romaji::transcribe(u"ゴミ箱に入れる"_s) != expected)
                    ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, 0);
}

} // namespace
