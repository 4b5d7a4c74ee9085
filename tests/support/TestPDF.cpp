#include "support/TestPDF.h"

#include <cstddef>

namespace Bleedwise::Testing {

std::string TestPDF::object(std::string body) {
    objects_.push_back(std::move(body));
    return std::to_string(objects_.size()) + " 0 R";
}

std::string TestPDF::stream(const std::string& entries, std::string_view bytes) {
    return object("<< " + entries + " /Length " + std::to_string(bytes.size()) + " >>\nstream\n" +
                  std::string(bytes) + "\nendstream");
}

void TestPDF::page(const Page& page) {
    const std::string contents = stream("", page.contents);
    pages_.push_back(object("<< /Type /Page /Parent 2 0 R /MediaBox [" + page.mediaBox +
                            "] /Resources << " + page.resources + " >> /Contents " + contents +
                            " " + page.entries + " >>"));
}

std::string TestPDF::bytes() const {
    std::vector<std::string> objects = objects_;
    objects[0] = "<< /Type /Catalog /Pages 2 0 R " + catalogEntries_ + " >>";
    objects[1] = "<< /Type /Pages /Count " + std::to_string(pages_.size()) + " /Kids [";
    for (const std::string& page : pages_)
        objects[1] += page + " ";
    objects[1] += "] >>";

    std::string file = "%PDF-1.7\n";
    std::string table = "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const std::string offset = std::to_string(file.size());
        table += std::string(10 - offset.size(), '0') + offset + " 00000 n \n";
        file += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const std::string tableOffset = std::to_string(file.size());
    return file + table + "trailer\n<< /Size " + std::to_string(objects.size() + 1) +
           " /Root 1 0 R >>\nstartxref\n" + tableOffset + "\n%%EOF\n";
}

std::string TestPDF::ofPage(const Page& page) {
    TestPDF pdf;
    pdf.page(page);
    return pdf.bytes();
}

std::string hexadecimal(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text + ">";
}

} // namespace Bleedwise::Testing
