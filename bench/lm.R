# Fits the records of a file, covariates first and then the dependent, with R's lm.
arguments <- commandArgs(trailingOnly = TRUE)
file <- arguments[1]
covariates <- as.integer(arguments[2])

reading <- system.time({
  values <- readBin(file, "double", n = file.size(file) / 8)
  table <- as.data.frame(matrix(values, ncol = covariates + 1, byrow = TRUE))
  names(table) <- c(paste0("x", seq_len(covariates)), "y")
  rm(values)
})
fitting <- system.time(model <- lm(y ~ ., table))

seconds <- function(name, times) {
  cat(sprintf("  %-22s %8.3f s %8.3f s cpu\n", name, times[["elapsed"]],
              times[["user.self"]] + times[["sys.self"]]))
}
seconds("reading", reading)
seconds("lm", fitting)
cat(sprintf("  root mean square error %.12g\n", sqrt(mean(residuals(model)^2))))
