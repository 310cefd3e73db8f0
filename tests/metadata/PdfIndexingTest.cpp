#include "CrawledHomeTest.h"
#include "PdfDocument.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

// A minimal PDF with one page per text, each text drawn in the standard Helvetica font.
QByteArray pdfWithPages(const QList<QByteArray> &texts)
{
    QByteArray kids;
    for (qsizetype i = 0; i < texts.size(); ++i)
        kids += QByteArray::number(4 + 2 * i) + " 0 R ";
    QList<QByteArray> objects{"<< /Type /Catalog /Pages 2 0 R >>",
                              "<< /Type /Pages /Kids [" + kids + "] /Count " +
                                  QByteArray::number(texts.size()) + " >>",
                              "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"};
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const QByteArray content = "BT /F1 12 Tf 72 720 Td (" + texts.at(i) + ") Tj ET";
        objects.append(
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 3 0 R "
            ">> >> /Contents " +
            QByteArray::number(5 + 2 * i) + " 0 R >>");
        objects.append("<< /Length " + QByteArray::number(content.size()) + " >>\nstream\n" + content +
                       "\nendstream");
    }
    QByteArray pdf = "%PDF-1.4\n";
    QByteArray table = "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (qsizetype i = 0; i < objects.size(); ++i) {
        table += QByteArray::number(pdf.size()).rightJustified(10, '0') + " 00000 n \n";
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects.at(i) + "\nendobj\n";
    }
    const QByteArray start = QByteArray::number(pdf.size());
    return pdf + table + "trailer\n<< /Size " + QByteArray::number(objects.size() + 1) +
           " /Root 1 0 R >>\nstartxref\n" + start + "\n%%EOF\n";
}

class PdfIndexingTest : public CrawledHomeTest {};

TEST_F(PdfIndexingTest, IndexesPageCountAndTextOfEveryPage)
{
    const QString report = write("report.pdf", pdfWithPages({"Migration of the quokka", "Wombat burrows"}));
    const PdfDocument document(report);
    EXPECT_EQ(document.pageCount(), 2);
    EXPECT_EQ(document.text(1024), "Migration of the quokka\nWombat burrows");
    EXPECT_EQ(document.text(9), "Migration");

    ASSERT_TRUE(crawler.rebuild({home.path()})) << crawler.errorText().toStdString();
    EXPECT_EQ(find("kMDItemNumberOfPages == 2"), QStringList{"report.pdf"});
    EXPECT_EQ(find("kMDItemTextContent == \"wombat\"cw"), QStringList{"report.pdf"});
    EXPECT_EQ(find("kMDItemTextContent == \"quokka\"cw"), QStringList{"report.pdf"});
}

TEST_F(PdfIndexingTest, DamagedAndFalsePdfsGiveNeitherPagesNorText)
{
    const QByteArray whole = pdfWithPages({"Intact pages"});
    const QString truncated = write("truncated.pdf", whole.left(whole.indexOf("3 0 obj")));
    write("empty.pdf", QByteArray());
    write("text.pdf", "this is not a PDF at all");

    for (const QString &path : {truncated, home.filePath("text.pdf"), home.filePath("missing.pdf")}) {
        const PdfDocument document(path);
        EXPECT_EQ(document.pageCount(), 0) << path.toStdString();
        EXPECT_EQ(document.text(1024), QString()) << path.toStdString();
    }
    ASSERT_TRUE(crawler.rebuild({home.path()})) << crawler.errorText().toStdString();
    EXPECT_EQ(find("kMDItemFSName == \"*.pdf\""), (QStringList{"empty.pdf", "text.pdf", "truncated.pdf"}));
    EXPECT_EQ(find("kMDItemNumberOfPages == *"), QStringList());
    EXPECT_EQ(find("kMDItemTextContent == *"), QStringList());
}

} // namespace
