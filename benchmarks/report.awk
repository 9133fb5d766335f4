# The report, with statistics.awk before it. Variables: form (text, markdown or json), machine.

function row(cells) { rows[++rowCount] = cells }

# Prints the collected rows as a table; the first one is its head. Cells are separated by tabs.
function table(title, r, c, n, cell, width, line) {
  if (form == "json") { rowCount = 0; return }
  print (form == "markdown" ? "### " : "") title "\n"
  for (r = 1; r <= rowCount; ++r) {
    n = split(rows[r], cell, "\t")
    for (c = 1; c <= n; ++c) if (length(cell[c]) > width[c]) width[c] = length(cell[c])
  }
  for (r = 1; r <= rowCount; ++r) {
    n = split(rows[r], cell, "\t")
    line = form == "markdown" ? "|" : ""
    for (c = 1; c <= n; ++c)
      line = line sprintf(form == "markdown" ? " %s |" : c == 1 ? "%-" width[c] "s  " : "%" width[c] "s  ", cell[c])
    print line
    if (r == 1 && form == "markdown") {
      line = "|---|"
      for (c = 2; c <= n; ++c) line = line "---:|"
      print line
    }
  }
  print ""
  rowCount = 0
}

# Milliseconds, with about three digits.
function ms(us) { return sprintf(us < 100000 ? "%.1f" : "%.0f", us / 1000) }

function spread(key) { return ms(middle[key]) " (" ms(smallest[key]) "-" ms(largest[key]) ")" }

function ratio(subject, one, other, unit) {
  return smallest[subject "|" one "|" unit] / smallest[subject "|" other "|" unit]
}

function goal(name, value, limit) {
  goals[++goalCount] = name "\t" sprintf(value < 10 ? "%.3f" : "%.1f", value) "\t" limit "\t" (value <= limit ? "met" : "MISSED")
}

function commands(k, part, subject) {
  row("Command\tBrindle\tFloor\tBare loop\tBrindle / floor\tBrindle / bare\tSwitches a transfer")
  for (k = 1; k <= keys; ++k) {
    split(order[k], part, "|")
    if (part[1] != "commands" || part[3] != "Brindle" || part[4] != "us") continue
    subject = part[1] "|" part[2]
    row(part[2] "\t" spread(subject "|Brindle|us") "\t" spread(subject "|floor|us") "\t" \
        spread(subject "|bare|us") "\t" sprintf("%.3f\t%.3f", ratio(subject, "Brindle", "floor", "us"), \
        ratio(subject, "Brindle", "bare", "us")) "\t" transferSwitches(part[2]))
  }
  table("Whole commands, messages taking no time (ms: median, smallest-largest; ratios of the smallest; " \
        "context switches for each transfer: Brindle / floor)")
}

# Context switches of Brindle and of the floor for each transfer of the command.
function transferSwitches(name, n) {
  n = name == "/RA" || name == "/VA" ? 2050 : name == "/R 1" ? 1027 : name == "/RBI" ? 6 : name == "/W 1" ? 259 : 514
  return sprintf("%.2f / %.2f", middle["commands|" name "|Brindle|switches"] / n, \
                 middle["commands|" name "|floor|switches"] / n)
}

function peers(k, part, us, factor) {
  row("32 KiB\tProgram\tms\tIn units of Brindle")
  for (k = 1; k <= keys; ++k) {
    split(order[k], part, "|")
    if (part[1] != "peers" || part[4] != "us") continue
    factor = part[3] ~ /512 bytes$/ ? 64 : 1
    row(part[2] "\t" part[3] (factor > 1 ? " times 64" : "") "\t" ms(factor * middle[order[k]]) "\t" \
        sprintf("%.3f", factor * smallest[order[k]] / smallest["peers|" part[2] "|Brindle|us"]))
  }
  table("Whole images at 400 kHz (median; ratios of the smallest)")
}

function startAndFootprint() {
  row("Start and footprint\tBrindle\tPrint a line\t/bin/true")
  row("Argument error, start to end (ms)\t" spread("start|command|Brindle|us") "\t" \
      spread("start|command|hello|us") "\t" spread("start|command|true|us"))
  row("Dynamic loader (1000 cycles)\t" sprintf("%.0f\t%.0f\t", smallest["start|loader|Brindle|cycles"] / 1000, \
      smallest["start|loader|hello|cycles"] / 1000))
  row("Peak resident memory (KiB)\t" middle[memoryOf "|Brindle|KiB"] "\t" middle["start|command|hello|KiB"] \
      "\t" middle["start|command|true|KiB"])
  row("Threads\t" middle["commands|threads|Brindle|threads"] "\t1\t1")
  table("Start and footprint (memory: of " (memoryOf ~ /WA/ ? "/WA" : "/RA") ")")
}

function pieces(k, part) {
  row("Piece\tus, median\tsmallest\tlargest")
  for (k = 1; k <= keys; ++k) {
    split(order[k], part, "|")
    if (part[1] != "micro") continue
    row(part[2] sprintf("\t%.2f\t%.2f\t%.2f", middle[order[k]], smallest[order[k]], largest[order[k]]))
  }
  table("Single pieces, without kernel and board")
}

function sizes(k, part) {
  row("Executable for arm64\tStripped (KiB)\tLoaded: text and data (KiB)")
  for (k = 1; k <= keys; ++k) {
    split(order[k], part, "|")
    if (part[1] != "size" || part[4] != "bytes") continue
    row(part[2] sprintf("\t%.1f\t%.1f", middle[order[k]] / 1024, middle["size|" part[2] "|Brindle|loaded"] / 1024))
  }
  if (rowCount > 1) table("Size"); else rowCount = 0
}

function setGoals(g, part) {
  if ("commands|/WA|Brindle|us" in count) {
    goal("/WA / floor", ratio("commands|/WA", "Brindle", "floor", "us"), 1.01)
    goal("/E / floor", ratio("commands|/E", "Brindle", "floor", "us"), 1.01)
  }
  goal("/RA / floor", ratio("commands|/RA", "Brindle", "floor", "us"), 1.1)
  goal("Argument error / true", ratio("start|command", "Brindle", "true", "us"), 3)
  goal("Memory / print a line", middle[memoryOf "|Brindle|KiB"] / middle["start|command|hello|KiB"], 1.5)
  if ("size|release|Brindle|bytes" in count) goal("Stripped, arm64 (KiB)", middle["size|release|Brindle|bytes"] / 1024, 150)
  row("Goal\tMeasured\tAt most\tResult")
  for (g = 1; g <= goalCount; ++g) row(goals[g])
  table("Goals")
}

function json(k, g, part) {
  print "{\n  \"machine\": \"" machine "\",\n  \"figures\": ["
  for (k = 1; k <= keys; ++k) {
    split(order[k], part, "|")
    printf "    {\"group\": \"%s\", \"subject\": \"%s\", \"contender\": \"%s\", \"unit\": \"%s\", ", part[1], part[2], part[3], part[4]
    printf "\"median\": %s, \"smallest\": %s, \"largest\": %s, \"count\": %d}%s\n", middle[order[k]], smallest[order[k]], \
           largest[order[k]], count[order[k]], k < keys ? "," : ""
  }
  print "  ],\n  \"goals\": ["
  for (g = 1; g <= goalCount; ++g) {
    split(goals[g], part, "\t")
    printf "    {\"goal\": \"%s\", \"measured\": %s, \"limit\": %s, \"met\": %s}%s\n", part[1], part[2], part[3], \
           part[4] == "met" ? "true" : "false", g < goalCount ? "," : ""
  }
  print "  ]\n}"
}

END {
  summarise()
  memoryOf = "commands|/WA"
  if (!(memoryOf "|Brindle|KiB" in count)) memoryOf = "commands|/RA"
  setGoals()
  commands()
  peers()
  startAndFootprint()
  sizes()
  pieces()
  if (form == "json") json(); else print "Machine: " machine "."
}
