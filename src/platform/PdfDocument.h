#pragma once

#include <QString>

#include <memory>

namespace Poppler {
class Document;
}

// A PDF file as far as the metadata index needs it: its page count and the text of its first pages. A file
// that is damaged, encrypted or not a PDF at all reads as a document of no pages and no text.
class PdfDocument {
public:
    explicit PdfDocument(const QString &path);
    ~PdfDocument();
    PdfDocument(const PdfDocument &) = delete;
    PdfDocument &operator=(const PdfDocument &) = delete;

    int pageCount() const;
    // The text of the pages in order, one line break between pages, cut to at most maxBytes bytes of UTF-8.
    QString text(qsizetype maxBytes) const;

private:
    std::unique_ptr<Poppler::Document> m_document;
};
