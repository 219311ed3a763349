# What the columns of a table are like, computed by R.
#
#   Rscript tests/reference/describe/make.R
#
# writes NAME.json for the tables of examples/data below, beside this script (made with R 4.2.2).

options(digits = 17, stringsAsFactors = FALSE)
invisible(Sys.setlocale("LC_COLLATE", "C"))
script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
source(file.path(folder, "..", "case_file.R"))

describe <- function(x) {
  known <- x[!is.na(x)]
  entries <- c(missing = json_number(sum(is.na(x))), distinct = json_number(length(unique(known))))
  if (is.numeric(x)) {
    quartiles <- quantile(known, c(0.25, 0.5, 0.75), type = 7, names = FALSE)
    return(json_object(c(entries, minimum = json_number(min(known)),
                         maximum = json_number(max(known)), mean = json_number(mean(known)),
                         std_deviation = json_number(sd(known)),
                         quartiles = json_array(json_number(quartiles)))))
  }
  counts <- sort(-table(known))[seq_len(min(5, length(unique(known))))]
  json_object(c(entries, level = json_string(names(counts)[1]), count = json_number(-counts[[1]])))
}

for (name in c("penguins", "cars")) {
  d <- read.csv(file.path(folder, "..", "..", "..", "examples", "data", paste0(name, ".csv")),
                na.strings = c("", "NA"))
  write_case(file.path(folder, paste0(name, ".json")), lapply(d, describe))
}
