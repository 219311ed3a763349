# Areas under curves of the predictions that make.py wrote, by pROC, and the predictions themselves by
# lm and glm.
#
#   Rscript tests/reference/validation/roc.R
#
# writes, beside this script, roc.json, and stops where lm or glm predict otherwise. Needs pROC and
# jsonlite (made with R 4.2.2, pROC 1.18.0). Records are repeated by their frequency weight.

options(digits = 17, stringsAsFactors = FALSE)
suppressMessages(library(pROC))
script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
read <- function(name) read.csv(file.path(folder, name), check.names = FALSE)
d <- read("../effects/everything.csv")
parts <- read("parts.csv")
p <- read("predictions.csv")
d$high <- d$k == "high"

close_to <- function(ours, theirs, digits) {
  worst <- max(abs(ours - theirs) / pmax(abs(theirs), 1e-3))
  cat(sprintf("%.2g\n", worst))
  stopifnot(worst < 10^-digits)
}
terms <- ~ a + b + x + I(x^2) + a:b + a:town + a:s
linear <- function(train) {
  fit <- lm(update(terms, y ~ .), d[train, ], weights = f * w)
  suppressWarnings(predict(fit, d))
}
# A smaller epsilon would have glm keep redundant columns.
binary <- function(train) {
  fit <- suppressWarnings(glm(update(terms, high ~ .), binomial, d[train, ], weights = f * w,
                              control = list(epsilon = 1e-10)))
  suppressWarnings(predict(fit, d, type = "response"))
}
close_to(p$holdout, linear(parts$holdout == 0), 10)
close_to(p$two_holdout_true, binary(parts$holdout == 0), 8)
for (fold in 1:4) {
  out <- parts$fold == fold
  close_to(p$folds[out], linear(!out)[out], 10)
  close_to(p$two_folds_true[out], binary(!out)[out], 8)
}

areas <- function(name, held) {
  often <- rep(which(held), d$f[held])
  two <- roc(d$high[often], p[[paste0("two_", name, "_true")]][often], direction = "<",
             levels = c(FALSE, TRUE), quiet = TRUE)
  levels <- c("high", "low", "mid")
  scores <- p[often, paste0("three_", name, "_", levels)]
  names(scores) <- levels
  three <- suppressMessages(multiclass.roc(factor(d$k[often], levels), scores, quiet = TRUE))
  own <- sapply(levels, function(level) {
    as.numeric(auc(roc(d$k[often] == level, scores[[level]], direction = "<",
                       levels = c(FALSE, TRUE), quiet = TRUE)))
  })
  list(two = as.numeric(auc(two)), three = as.numeric(auc(three)), levels = unname(own))
}
result <- list(holdout = areas("holdout", parts$holdout == 1), folds = areas("folds", TRUE | d$f))
writeLines(jsonlite::toJSON(result, digits = NA, auto_unbox = TRUE, pretty = TRUE),
           file.path(folder, "roc.json"))
