# The bar chart of whole images at 400 kHz as SVG, with statistics.awk before it.

function bar(name, us, colour, length_, cut, label) {
  length_ = us / 1e6 * scale
  cut = length_ > 430
  if (cut) length_ = 430
  label = sprintf(us < 1e7 ? "%.2f s" : "%.0f s", us / 1e6)
  printf "<text x=\"200\" y=\"%d\" text-anchor=\"end\">%s</text>\n", y + 14, name
  printf "<rect x=\"210\" y=\"%d\" width=\"%.1f\" height=\"18\" fill=\"%s\"/>\n", y, length_, colour
  if (cut) printf "<path d=\"M610 %d l8 -22 h6 l-8 22 z\" fill=\"white\"/>\n", y + 20
  printf "<text x=\"%.1f\" y=\"%d\">%s</text>\n", 216 + length_, y + 14, label
  y += 24
}

function head(title) {
  y += 16
  printf "<text x=\"10\" y=\"%d\" font-weight=\"bold\">%s</text>\n", y + 6, title
  y += 18
}

function value(subject, contender) { return middle["peers|" subject "|" contender "|us"] }

END {
  summarise()
  ours = "#1f6f8b"
  limit = "#9aa5ad"
  other = "#c98b3c"
  print "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"720\" height=\"290\" viewBox=\"0 0 720 290\" font-family=\"sans-serif\" font-size=\"13\">"
  print "<rect width=\"720\" height=\"290\" fill=\"white\"/>"
  y = 0
  scale = 100
  head("Reading 32 KiB at 400 kHz")
  bar("the wire alone", 32768 * 9 / 0.4, limit)
  bar("floor", value("read", "floor"), limit)
  bar("Brindle", value("read", "Brindle"), ours)
  bar("i2ctransfer, 4096 bytes", value("read", "i2ctransfer, 4096 bytes"), other)
  bar("i2ctransfer, 16 bytes", value("read", "i2ctransfer, 16 bytes"), other)
  if (value("write", "Brindle") > 0) {
    head("Writing 32 KiB at 400 kHz (write cycle 5 ms)")
    bar("wire and write cycles alone", 32768 * 9 / 0.4 + 512 * 5000, limit)
    bar("floor", value("write", "floor"), limit)
    bar("Brindle", value("write", "Brindle"), ours)
    bar("byte by byte", 64 * value("write", "byte by byte, 512 bytes"), other)
  }
  print "</svg>"
}
