#include "palette/Romaji.h"

#include <QStringList>
#include <algorithm>
#include <mecab.h>
#include <memory>
#include <mutex>
#include <string>
#include <unicode/translit.h>
#include <unicode/unistr.h>

namespace {

// Field of the IPADIC feature line that holds the katakana reading.
constexpr int readingField = 7;

// ICU transliterators are not safe for concurrent use; each thread gets its own.
icu::Transliterator* transliterator(const char* id)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::Transliterator* created = icu::Transliterator::createInstance(
        icu::UnicodeString::fromUTF8(id), UTRANS_FORWARD, status);
    if (U_FAILURE(status)) {
        delete created;
        return nullptr;
    }
    return created;
}

QString applyTransform(icu::Transliterator* transform, const QString& text)
{
    if (transform == nullptr)
        return text;
    icu::UnicodeString buffer(reinterpret_cast<const UChar*>(text.utf16()), int32_t(text.size()));
    transform->transliterate(buffer);
    return QString(reinterpret_cast<const QChar*>(buffer.getBuffer()), buffer.length());
}

QString kanaToLatin(const QString& text)
{
    thread_local std::unique_ptr<icu::Transliterator> transform(
        transliterator("Hiragana-Latin; Katakana-Latin"));
    return applyTransform(transform.get(), text);
}

// Diacritics go (long vowels written with macrons become plain letters), then case and
// white space.
QString finish(const QString& latin)
{
    thread_local std::unique_ptr<icu::Transliterator> strip(
        transliterator("Latin-ASCII; NFD; [:Nonspacing Mark:] Remove; NFC"));
    const QString stripped = applyTransform(strip.get(), latin).toLower();
    QString result;
    result.reserve(stripped.size());
    for (const QChar c : stripped) {
        if (!c.isSpace())
            result.append(c);
    }
    return result;
}

// One tagger for the process; MeCab taggers are not reentrant, so calls take turns.
struct Tagger {
    std::unique_ptr<MeCab::Model> model;
    std::unique_ptr<MeCab::Tagger> tagger;
    std::unique_ptr<MeCab::Lattice> lattice;
    std::mutex mutex;
};

// Never destroyed: worker threads may still transcribe while the process exits.
Tagger* sharedTagger()
{
    static Tagger* const shared = []() -> Tagger* {
        auto* created = new Tagger;
        created->model.reset(MeCab::createModel(""));
        if (created->model) {
            created->tagger.reset(created->model->createTagger());
            created->lattice.reset(created->model->createLattice());
        }
        if (!created->tagger || !created->lattice) {
            delete created;
            return nullptr;
        }
        return created;
    }();
    return shared;
}

QString readingOf(const char* feature)
{
    const QStringList fields = QString::fromUtf8(feature).split(u',');
    if (fields.size() <= readingField || fields[readingField] == u"*")
        return {};
    return fields[readingField];
}

// Dictionary readings are wanted only for Japanese words; Latin words (even those the
// dictionary spells out in katakana, such as ＡＢＣ) keep their letters.
bool isJapanese(const QString& word)
{
    return std::ranges::any_of(word, [](QChar c) {
        const QChar::Script script = c.script();
        return script == QChar::Script_Han || script == QChar::Script_Hiragana ||
               script == QChar::Script_Katakana;
    });
}

// Readings per word; words without one keep their text, with any kana in it transcribed.
QString transcribeWords(Tagger& tagger, const QString& text)
{
    const QByteArray sentence = text.toUtf8();
    QString latin;
    const std::lock_guard lock(tagger.mutex);
    tagger.lattice->set_sentence(sentence.constData(), sentence.size());
    if (!tagger.tagger->parse(tagger.lattice.get()))
        return kanaToLatin(text);
    qsizetype done = 0;
    for (const MeCab::Node* node = tagger.lattice->bos_node(); node; node = node->next) {
        if (node->stat == MECAB_BOS_NODE || node->stat == MECAB_EOS_NODE)
            continue;
        const qsizetype start = node->surface - sentence.constData();
        // Whatever the tagger skipped (white space) is kept, so no text is lost.
        if (start > done)
            latin += QString::fromUtf8(sentence.mid(done, start - done));
        const QString word = QString::fromUtf8(node->surface, node->length);
        const QString reading = isJapanese(word) ? readingOf(node->feature) : QString();
        latin += kanaToLatin(reading.isEmpty() ? word : reading);
        done = start + node->length;
    }
    if (done < sentence.size())
        latin += QString::fromUtf8(sentence.mid(done));
    return latin;
}

} // namespace

QString Romaji::transcribe(const QString& text)
{
    Tagger* tagger = sharedTagger();
    if (tagger == nullptr)
        return transcribeKanaOnly(text);
    return finish(transcribeWords(*tagger, text));
}

QString Romaji::transcribeKanaOnly(const QString& text)
{
    return finish(kanaToLatin(text));
}
