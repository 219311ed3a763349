# Sets the logistic reference fits against R: nnet::multinom, VGAM::vglm and, with two categories,
# glm(binomial). Stops at the first that does not agree.
#
#   Rscript tests/reference/logistic/check.R
#
# Needs the packages nnet and VGAM.

suppressPackageStartupMessages(library(VGAM))
library(nnet)
options(stringsAsFactors = FALSE, warn = 1)

script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- dirname(script)
root <- file.path(folder, "..")
source(file.path(root, "case_file.R"))

# Every cell as text; R's own coding of factors and numbers plays no part.
read_data <- function(case) {
  data <- read.csv(file.path(root, case$data), colClasses = "character", na.strings = "")
  terms <- case$terms
  freq <- option_of(case, "--freq-weight")
  regr <- option_of(case, "--regression-weight")
  needed <- c(case$dependent, unlist(lapply(terms, function(t) c(t$factors, names(t$covariates)))),
              freq, regr)
  data <- data[complete.cases(data[unlist(needed)]), , drop = FALSE]
  data$.f <- if (is.null(freq)) 1 else as.numeric(data[[freq]])
  data$.w <- data$.f * if (is.null(regr)) 1 else as.numeric(data[[regr]])
  data[data$.w > 0, , drop = FALSE]
}

covariate_of <- function(part, data) {
  power <- regmatches(part, regexec("^I\\((.*)\\^([0-9]+)\\)$", part))[[1]]
  if (length(power) == 3) as.numeric(data[[power[2]]])^as.numeric(power[3])
  else as.numeric(data[[part]])
}

column_of <- function(label, data) {
  value <- rep(1, nrow(data))
  for (name in names(label$levels)) value <- value * (data[[name]] == label$levels[[name]])
  if (label$term == "(Intercept)") return(value)
  for (part in strsplit(label$term, ":")[[1]]) {
    if (!grepl("^C\\(", part)) value <- value * covariate_of(part, data)
  }
  value
}

# Kept columns only; one row a kept column, one column a category of `values`.
kept_matrix <- function(values, case, kept) {
  matrix(unlist(values), ncol = length(case$categories) - 1)[kept, , drop = FALSE]
}

close_to <- function(what, got, expected, scale, tolerance) {
  worst <- max(abs(got - expected) / scale)
  if (!is.finite(worst) || worst > tolerance) {
    stop(what, " differs by ", format(worst), ", allowed are ", tolerance)
  }
  worst
}

# Estimates in units of their standard errors, standard errors relative, log-likelihood relative.
compare <- function(expected, estimates, errors, loglik, tolerance) {
  c(close_to("estimates", estimates, expected$estimates, expected$errors, tolerance),
    close_to("standard errors", errors, expected$errors, expected$errors, tolerance),
    close_to("log-likelihood", loglik, expected$loglik, abs(expected$loglik), tolerance))
}

against_glm <- function(x, y, w, expected) {
  first <- as.numeric(y == levels(y)[1])
  fit <- suppressWarnings(glm.fit(x, first, w, family = binomial(),
                                  control = glm.control(epsilon = 1e-15, maxit = 100)))
  kept <- seq_len(ncol(x))
  errors <- sqrt(diag(chol2inv(fit$qr$qr[kept, kept, drop = FALSE])))
  # The deviance of single trials is -2 times the log-likelihood.
  max(compare(expected, cbind(fit$coefficients), cbind(errors), -fit$deviance / 2, 1e-7))
}

against_vglm <- function(x, y, w, expected) {
  fit <- suppressWarnings(vglm(y ~ 0 + x, multinomial(refLevel = nlevels(y)), weights = w,
                               epsilon = 1e-13, maxit = 100))
  categories <- nlevels(y) - 1
  estimates <- matrix(coef(fit), ncol = categories, byrow = TRUE)
  errors <- matrix(sqrt(diag(vcov(fit))), ncol = categories, byrow = TRUE)
  at <- fitted(fit)[cbind(seq_along(y), as.integer(y))]
  max(compare(expected, estimates, errors, sum(w * log(at)), 1e-6))
}

# A quasi-Newton search, which wants columns of like size and takes the first level as reference.
against_multinom <- function(x, y, w, expected) {
  size <- apply(abs(x), 2, max)
  last_first <- factor(y, levels = c(levels(y)[nlevels(y)], levels(y)[-nlevels(y)]))
  fit <- multinom(last_first ~ 0 + sweep(x, 2, size, "/"), weights = w, Hess = TRUE, trace = FALSE,
                  maxit = 20000, reltol = 1e-16, abstol = 1e-16)
  shape <- function(v) matrix(v, ncol = nlevels(y) - 1) / size
  estimates <- shape(t(rbind(coef(fit))))
  errors <- shape(sqrt(diag(solve(fit$Hessian))))
  max(compare(expected, estimates, errors, as.numeric(logLik(fit)), 1e-3))
}

check_initial <- function(case, y, data) {
  shares <- tapply(data$.w, y, sum) / sum(data$.w)
  if (!case$intercept) shares[] <- 1 / nlevels(y)
  initial <- sum(data$.w * log(shares[as.integer(y)]))
  change <- 2 * (initial - case$loglik) / sum(data$.w)
  cox_snell <- 1 - exp(change)
  close_to("initial log-likelihood", initial, case$loglik_initial, abs(initial), 1e-12)
  close_to("Cox-Snell", cox_snell, case$cox_snell, 1, 1e-12)
  nagelkerke <- cox_snell / (1 - exp(2 * initial / sum(data$.w)))
  close_to("Nagelkerke", nagelkerke, case$nagelkerke, 1, 1e-12)
  close_to("McFadden", 1 - case$loglik / initial, case$mcfadden, 1, 1e-12)
}

# The linear predictors' largest, or the most frequent category where no column says anything.
check_classification <- function(case, x, y, data, expected) {
  eta <- cbind(x %*% expected$estimates, 0)
  counts <- tapply(data$.f, y, sum)
  silent <- rowSums(x != 0) == 0
  choice <- ifelse(silent, which.max(counts), max.col(eta, "first"))
  predicted <- factor(levels(y)[choice], levels(y))
  stopifnot(all(tapply(data$.f, list(y, predicted), sum, default = 0) ==
                  do.call(rbind, lapply(case$classification, unlist))))
}

check_case <- function(name) {
  case <- read_case_file(file.path(folder, "fits", paste0(name, ".json")))
  data <- read_data(case)
  y <- factor(data[[case$dependent]], levels = unlist(case$categories))
  blocks <- nlevels(y) - 1
  basic <- seq_len(length(case$labels) / blocks)
  all_columns <- do.call(cbind, lapply(case$labels[basic], column_of, data = data))

  # R's scan from left to right moves a column that depends on earlier ones to the end.
  scan <- qr(all_columns, tol = 1e-9)
  kept <- sort(scan$pivot[seq_len(scan$rank)])
  stopifnot(nrow(data) == case$n, !anyNA(y), table(y) > 0,
            unlist(case$redundant) == rep(!(basic %in% kept), blocks))
  x <- all_columns[, kept, drop = FALSE]
  expected <- list(estimates = kept_matrix(case$estimates, case, kept),
                   errors = kept_matrix(case$standard_errors, case, kept), loglik = case$loglik)
  check_initial(case, y, data)
  check_classification(case, x, y, data, expected)

  binomial <- if (blocks == 1) against_glm(x, y, data$.w, expected) else NA
  cat(sprintf("%-28s glm %8.1e  vglm %8.1e  multinom %8.1e\n", name, binomial,
              against_vglm(x, y, data$.w, expected), against_multinom(x, y, data$.w, expected)))
}

names <- sub("[.]json$", "", list.files(file.path(folder, "fits"), "[.]json$"))
stopifnot(length(names) > 0)
for (name in names) check_case(name)
