# Reads samples (GROUP, SUBJECT, CONTENDER, UNIT, VALUE, separated by tabs) and gives their statistics by the
# key "GROUP|SUBJECT|CONTENDER|UNIT": smallest[], middle[], largest[], count[], and the keys in their order.

BEGIN { FS = "\t" }

{
  key = $1 "|" $2 "|" $3 "|" $4
  if (!(key in count)) order[++keys] = key
  # Keeps each key's values sorted.
  for (i = count[key]++; i > 0 && sorted[key, i] > $5 + 0; --i) sorted[key, i + 1] = sorted[key, i]
  sorted[key, i + 1] = $5 + 0
}

function summarise(k, n) {
  for (k = 1; k <= keys; ++k) {
    key = order[k]
    n = count[key]
    smallest[key] = sorted[key, 1]
    largest[key] = sorted[key, n]
    middle[key] = (sorted[key, int((n + 1) / 2)] + sorted[key, int(n / 2) + 1]) / 2
  }
}
