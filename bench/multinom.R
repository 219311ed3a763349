# Fits the records of a file (covariates, factors' levels, last the class) with nnet's multinom:
# multinom.R FILE COVARIATES CLASSES [LEVELS...]
suppressPackageStartupMessages(library(nnet))
arguments <- commandArgs(trailingOnly = TRUE)
file <- arguments[1]
shape <- as.integer(arguments[-1])
covariates <- shape[1]
factors <- length(shape) - 2

reading <- system.time({
  values <- readBin(file, "double", n = file.size(file) / 8)
  table <- as.data.frame(matrix(values, ncol = covariates + factors + 1, byrow = TRUE))
  names(table) <- c(sprintf("x%d", seq_len(covariates)), sprintf("f%d", seq_len(factors)), "y")
  for (name in names(table)[-seq_len(covariates)]) table[[name]] <- factor(table[[name]])
  rm(values)
})
fitting <- system.time(
  trace <- capture.output(
    model <- multinom(y ~ ., table, maxit = 200, reltol = 1e-10, MaxNWts = 10000)))
if (model$convergence != 0) stop("multinom did not converge in 200 iterations")

seconds <- function(name, times) {
  cat(sprintf("  %-22s %8.3f s %8.3f s cpu\n", name, times[["elapsed"]],
              times[["user.self"]] + times[["sys.self"]]))
}
seconds("reading", reading)
seconds("fit", fitting)
# It tells of every tenth iteration.
told <- sub("^iter *([0-9]+) value.*", "\\1", grep("^iter", trace, value = TRUE))
cat(sprintf("  iterations             at least %s\n", tail(told, 1)))
cat(sprintf("  log-likelihood         %.14g\n", -model$value))
