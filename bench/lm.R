# Fits the records of a file (covariates, factors' levels, last the dependent) with R's lm, and, when
# there are no factors, with .lm.fit of the design in memory: lm.R FILE COVARIATES [LEVELS...]
arguments <- commandArgs(trailingOnly = TRUE)
file <- arguments[1]
shape <- as.integer(arguments[-1])
covariates <- shape[1]
factors <- length(shape) - 1

reading <- system.time({
  values <- matrix(readBin(file, "double", n = file.size(file) / 8),
                   ncol = covariates + factors + 1, byrow = TRUE)
  table <- as.data.frame(values)
  names(table) <- c(sprintf("x%d", seq_len(covariates)), sprintf("f%d", seq_len(factors)), "y")
  for (name in sprintf("f%d", seq_len(factors))) table[[name]] <- factor(table[[name]])
  design <- cbind(1, values[, seq_len(covariates)])
  rm(values)
})

seconds <- function(name, times) {
  cat(sprintf("  %-22s %8.3f s %8.3f s cpu\n", name, times[["elapsed"]],
              times[["user.self"]] + times[["sys.self"]]))
}
seconds("reading", reading)
if (factors == 0) seconds(".lm.fit", system.time(.lm.fit(design, table$y)))
rm(design)
seconds("lm", system.time(model <- lm(y ~ ., table)))
cat(sprintf("  root mean square error %.12g\n", sqrt(mean(residuals(model)^2))))
