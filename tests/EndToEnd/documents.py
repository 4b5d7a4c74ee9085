"""Small PDFs, and what is in the ones that come out."""

import re
import subprocess


def small_pdf(width=100, height=100):
    """One page of this size in points, black all over, so that it looks right however it is placed."""
    content = b"0 0 0 1 k -9999 -9999 19999 19999 re f"
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 %g %g] /Resources << >> /Contents 4 0 R >>"
        % (width, height),
        b"<< /Length %d >>\nstream\n%b\nendstream" % (len(content), content),
    ]
    text = b"%PDF-1.4\n"
    table = b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for number, body in enumerate(objects, 1):
        table += b"%010d 00000 n \n" % len(text)
        text += b"%d 0 obj\n%b\nendobj\n" % (number, body)
    return text + table + b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (
        len(objects) + 1, len(text))


def boxes(pdf):
    """The page boxes of the first page in points, by name."""
    report = subprocess.run(["pdfinfo", "-box", pdf], check=True, stdout=subprocess.PIPE).stdout
    return {name: tuple(float(number) for number in numbers.split())
            for name, numbers in re.findall(r"^(\w+Box):(.*)$", report.decode(), re.MULTILINE)}


def is_sound(pdf):
    return subprocess.run(["qpdf", "--check", pdf], stdout=subprocess.DEVNULL).returncode == 0
