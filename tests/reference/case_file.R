# The files of the reference cases: JSON with arrays filled to the width of a line.

json_width <- 100

json_string <- function(s) paste0('"', gsub('(["\\\\])', "\\\\\\1", s), '"')
json_number <- function(x) {
  stopifnot(is.finite(x))
  sprintf("%.17g", x)
}
json_bool <- function(b) ifelse(b, "true", "false")

# Values are given as JSON.
json_array <- function(items) paste0("[", paste(items, collapse = ", "), "]")
json_object <- function(items) {
  paste0("{", paste0(json_string(names(items)), ": ", items, recycle0 = TRUE, collapse = ", "), "}")
}

# Items and the commas between them, as many a line as fit.
fill_lines <- function(items, indent) {
  lines <- paste0(indent, items[1])
  for (item in items[-1]) {
    last <- length(lines)
    if (nchar(lines[last]) + nchar(item) + 3 <= json_width) {
      lines[last] <- paste0(lines[last], ", ", item)
    } else {
      lines[last] <- paste0(lines[last], ",")
      lines <- c(lines, paste0(indent, item))
    }
  }
  lines
}

# `entries`: by key a vector of JSON items, which is an array if marked as one.
as_array <- function(items) structure(items, class = "json_array")

entry_text <- function(key, entry) {
  key <- paste0(" ", json_string(key), ": ")
  if (!inherits(entry, "json_array")) return(paste0(key, entry))
  entry <- unclass(entry)
  text <- paste0(key, json_array(entry))
  if (nchar(text) < json_width) return(text)
  paste(c(paste0(key, "["), fill_lines(entry, "  "), " ]"), collapse = "\n")
}

write_case <- function(path, entries) {
  texts <- mapply(entry_text, names(entries), entries)
  writeLines(paste0("{\n", paste(texts, collapse = ",\n"), "\n}"), path)
}

# Objects and arrays as lists. The files hold no bracket and no `": ` inside a string, so that they
# read as R once those are replaced.
read_case_file <- function(path) {
  text <- paste(readLines(path), collapse = "\n")
  for (pair in list(c("\": ", "\"="), c("[{[]", "list("), c("[]}]", ")"), c("true", "TRUE"),
                    c("false", "FALSE"))) {
    text <- gsub(pair[1], pair[2], text)
  }
  eval(parse(text = text))
}

# The value of a case's option; NULL without it.
option_of <- function(case, name) {
  options <- unlist(case$options)
  place <- match(name, options)
  if (is.na(place)) NULL else options[place + 1]
}
