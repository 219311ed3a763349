# Which of the extreme cases are separated, by linear programming: is there a direction of the
# parameters along which no observed category falls behind any other, and some get ahead (Konis,
# Linear programming algorithms for detecting separated data in binary logistic regression models,
# 2007)? Stops at a case whose file says otherwise.
#
#   Rscript tests/reference/logistic/separation.R
#
# Needs the package lpSolve (values checked with 5.6.18).

library(lpSolve)
options(stringsAsFactors = FALSE, warn = 1)

script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- dirname(script)
root <- file.path(folder, "..")
source(file.path(root, "case_file.R"))

# Columns without a mean and of deviation 1: separation does not depend on either.
design_of <- function(formula, data) {
  x <- model.matrix(update(formula, NULL ~ .), data)
  cbind(1, scale(x[, -1, drop = FALSE]))
}

# One row a pair of the observed category and another: how much the first gets ahead.
margins_of <- function(x, y, categories) {
  rows <- unique(cbind(x, y))
  p <- ncol(x)
  block <- function(c) if (c < categories) (c - 1) * p + seq_len(p) else integer(0)
  pairs <- subset(expand.grid(i = seq_len(nrow(rows)), c = seq_len(categories)),
                  c != rows[i, p + 1])
  t(mapply(function(i, c) {
    margin <- numeric((categories - 1) * p)
    margin[block(rows[i, p + 1])] <- rows[i, seq_len(p)]
    margin[block(c)] <- margin[block(c)] - rows[i, seq_len(p)]
    margin
  }, pairs$i, pairs$c))
}

# The largest sum of the margins, each from 0 to 1.
largest_sum <- function(margins) {
  both <- cbind(margins, -margins)
  n <- nrow(margins)
  lp("max", colSums(both), rbind(both, both), rep(c(">=", "<="), each = n),
     rep(c(0, 1), each = n))$objval
}

check_case <- function(path) {
  case <- read_case_file(path)
  data <- read.csv(file.path(root, case$data), na.strings = "")
  freq <- option_of(case, "--freq-weight")
  if (!is.null(freq)) data <- data[data[[freq]] > 0, ]
  formula <- as.formula(case$formula)
  data <- data[complete.cases(data[all.vars(formula)]), ]
  y <- factor(data[[case$dependent]])
  sum <- largest_sum(margins_of(design_of(formula, data), as.integer(y), nlevels(y)))
  is_separated <- !is.null(case$outcome)
  cat(sprintf("%-22s %s, largest sum of margins %g\n", sub("[.]json$", "", basename(path)),
              if (is_separated) "separated" else "has a maximum", sum))
  stopifnot((sum > 0.5) == is_separated)
}

paths <- list.files(file.path(folder, "extremes"), full.names = TRUE, recursive = TRUE)
for (path in paths) check_case(path)
