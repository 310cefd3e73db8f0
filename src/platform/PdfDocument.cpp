#include "PdfDocument.h"

#include <QStringDecoder>

#include <algorithm>
#include <mutex>
#include <poppler-qt6.h>

namespace {

// Pages without text (scans) cost as much to read as any other; a long scanned book should not hold up a
// crawl for a text it does not have.
constexpr int maximumTextPages = 200;

// Poppler reports every flaw of a damaged file on stderr; the crawler meets many such files.
void ignoreMessage(const QString &, const QVariant &) {}

} // namespace

PdfDocument::PdfDocument(const QString &path)
{
    static std::once_flag quiet;
    std::call_once(quiet, [] { Poppler::setDebugErrorFunction(ignoreMessage, QVariant()); });
    m_document = Poppler::Document::load(path);
    if (m_document && m_document->isLocked())
        m_document.reset();
}

PdfDocument::~PdfDocument() = default;

int PdfDocument::pageCount() const
{
    return m_document ? std::max(m_document->numPages(), 0) : 0;
}

QString PdfDocument::text(qsizetype maxBytes) const
{
    QByteArray utf8;
    const int pages = std::min(pageCount(), maximumTextPages);
    for (int index = 0; index < pages && utf8.size() < maxBytes; ++index) {
        const std::unique_ptr<Poppler::Page> page = m_document->page(index);
        if (!page)
            continue;
        if (!utf8.isEmpty())
            utf8.append('\n');
        utf8.append(page->text(QRectF()).toUtf8());
    }
    // A stateful decoder drops a character cut at the end instead of writing a replacement for it.
    QStringDecoder decoder(QStringDecoder::Utf8);
    return decoder.decode(utf8.left(maxBytes));
}
