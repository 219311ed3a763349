# Fits the tables of a folder by lm, glm and multinom, and writes what they say, a line a number.
#
#     Rscript peer.R FOLDER
#
# models.tsv has a line a model: number, kind, formula, rows, columns, kept columns; numbers.bin has its columns one
# after the other, doubles, NaN where missing and codes from 1 on for levels. A factor's last level is the base.

library(nnet)
options(contrasts = c("contr.SAS", "contr.SAS"), warn = 1)

# A column of the design from its name, such as 1, g0=2;x1^2.
design_column <- function(name, data) {
  product <- rep(1, nrow(data))
  if (name == "1") return(product)
  for (part in strsplit(name, ";", fixed = TRUE)[[1]]) {
    if (grepl("=", part, fixed = TRUE)) {
      pair <- strsplit(part, "=", fixed = TRUE)[[1]]
      product <- product * (as.integer(data[[pair[1]]]) == as.integer(pair[2]))
    } else {
      pair <- strsplit(part, "^", fixed = TRUE)[[1]]
      product <- product * eval(parse(text = pair[1]), data)^as.integer(pair[2])
    }
  }
  product
}

# R's name of such a column.
own_name <- function(name) {
  if (name == "1") return("(Intercept)")
  parts <- strsplit(name, ";", fixed = TRUE)[[1]]
  parts <- sub("=", "L", parts, fixed = TRUE)
  squared <- grepl("^2", parts, fixed = TRUE)
  parts <- ifelse(squared, paste0("I(", sub("^2", "", parts, fixed = TRUE), "^2)"), sub("^1", "", parts, fixed = TRUE))
  paste(sort(parts), collapse = ":")
}

sorted_name <- function(name) paste(sort(strsplit(name, ":", fixed = TRUE)[[1]]), collapse = ":")

read_model <- function(line, numbers) {
  parts <- strsplit(line, "\t", fixed = TRUE)[[1]]
  model <- list(id = parts[1], kind = parts[2], formula = parts[3], rows = as.integer(parts[4]),
                kept = strsplit(parts[6], "|", fixed = TRUE)[[1]])
  model$data <- data.frame(row.names = seq_len(model$rows))
  for (column in strsplit(parts[5], ",", fixed = TRUE)[[1]]) {
    pair <- strsplit(column, ":", fixed = TRUE)[[1]]
    values <- readBin(numbers, "double", model$rows, endian = "little")
    values[is.nan(values)] <- NA
    if (pair[2] != "0") {
      values <- factor(values, levels = seq_len(as.integer(pair[2])), labels = paste0("L", seq_len(as.integer(pair[2]))))
    }
    model$data[[pair[1]]] <- values
  }
  model
}

say <- function(id, what, name, ...) {
  cat(id, what, name, sprintf("%.17g", c(...)), sep = "\t", file = out)
  cat("\n", file = out)
}

# Estimates, errors, statistics, p values and by which share p changes with the statistic.
say_coefficients <- function(id, names, estimates, errors, p, slopes) {
  for (k in seq_along(names)) {
    say(id, "parameter", names[k], estimates[k], errors[k], estimates[k] / errors[k], p[k], slopes[k])
  }
}

say_t <- function(id, names, table, df) {
  t <- table[, 3]
  say_coefficients(id, names, table[, 1], table[, 2], table[, 4], 2 * dt(t, df) / table[, 4])
}

say_z <- function(id, names, estimates, errors) {
  z <- estimates / errors
  p <- 2 * pnorm(-abs(z))
  say_coefficients(id, names, estimates, errors, p, 2 * dnorm(z) / p)
}

fit_linear <- function(model) {
  data <- model$data
  weights <- if (is.null(data$w)) NULL else data$w
  fit <- lm(as.formula(model$formula), data, weights = weights)
  summed <- summary(fit)
  f <- summed$fstatistic
  say(model$id, "number", "used", nobs(fit))
  say(model$id, "number", "rank", fit$rank)
  say(model$id, "number", "degrees_of_freedom", fit$df.residual)
  say(model$id, "number", "r_square", summed$r.squared)
  say(model$id, "number", "adjusted_r_square", summed$adj.r.squared)
  say(model$id, "number", "residual_std_error", summed$sigma)
  say(model$id, "number", "log_likelihood", logLik(fit))
  say(model$id, "number", "aic", AIC(fit))
  say(model$id, "number", "bic", BIC(fit))
  if (!is.null(f)) {
    p <- pf(f[1], f[2], f[3], lower.tail = FALSE)
    say(model$id, "number", "f_statistic", f[1])
    say(model$id, "number", "f_df", f[2])
    say(model$id, "number", "f_p_value", p, df(f[1], f[2], f[3]) / p)
  }
  own <- vapply(rownames(summed$coefficients), sorted_name, "")
  wanted <- vapply(model$kept, own_name, "")
  if (setequal(own, wanted)) {
    say_t(model$id, model$kept[match(own, wanted)], summed$coefficients, fit$df.residual)
    return("own")
  }
  data <- data[as.integer(rownames(model.frame(fit))), , drop = FALSE]
  columns <- matrix(vapply(model$kept, design_column, numeric(nrow(data)), data), nrow = nrow(data))
  response <- data$y
  weights <- if (is.null(data$w)) NULL else data$w
  refit <- summary(lm(response ~ 0 + columns, weights = weights))
  if (nrow(refit$coefficients) != length(model$kept)) return("other columns")
  say_t(model$id, model$kept, refit$coefficients, refit$df[2])
  "same columns"
}

# The columns of the model matrix that do not depend on those before.
independent <- function(x, weights) {
  decomposed <- qr(sqrt(weights) * x, tol = 1e-6)
  sort(decomposed$pivot[seq_len(decomposed$rank)])
}

logistic_design <- function(model) {
  data <- model$data
  if (is.null(data$w)) data$w <- 1
  frame <- model.frame(as.formula(model$formula), data, weights = w, na.action = na.omit)
  x <- model.matrix(attr(frame, "terms"), frame)
  weights <- model.weights(frame)
  kept <- independent(x, weights)
  own <- vapply(colnames(x)[kept], sorted_name, "")
  wanted <- vapply(model$kept, own_name, "")
  how <- "own"
  if (setequal(own, wanted)) {
    x <- x[, kept, drop = FALSE]
    names <- model$kept[match(own, wanted)]
  } else {
    how <- "same columns"
    rows <- as.integer(rownames(frame))
    x <- vapply(model$kept, design_column, numeric(length(rows)), data[rows, , drop = FALSE])
    x <- matrix(x, nrow = length(rows))
    names <- model$kept
  }
  list(x = x, y = model.response(frame), weights = weights, names = names, rank = length(own), how = how)
}

say_likelihood <- function(id, log_likelihood, initial, parameters, n) {
  say(id, "number", "log_likelihood", log_likelihood)
  say(id, "number", "initial_log_likelihood", initial)
  say(id, "number", "aic", -2 * log_likelihood + 2 * parameters)
  say(id, "number", "bic", -2 * log_likelihood + log(n) * parameters)
}

# glm starts from (weight y + 1/2) / (weight + 1), which is next to 0 or 1 where weights are large, and may then end
# far from the maximum: it starts here as with weights of 1.
fit_binary <- function(model) {
  d <- logistic_design(model)
  has_intercept <- attr(terms(as.formula(model$formula)), "intercept") == 1
  fit <- glm.fit(d$x, d$y, d$weights, family = binomial(), intercept = has_intercept,
                 mustart = (d$y + 0.5) / 2, control = list(epsilon = 1e-14, maxit = 100))
  if (fit$converged) {  # Two more steps of Newton's, since glm stops by the deviance.
    fit <- suppressWarnings(glm.fit(d$x, d$y, d$weights, family = binomial(), intercept = has_intercept,
                                    start = fit$coefficients, control = list(epsilon = 1e-300, maxit = 2)))
  } else {
    warning("glm did not converge")
  }
  say(model$id, "number", "used", sum(d$weights > 0))
  say(model$id, "number", "rank", d$rank)
  say(model$id, "number", "degrees_of_freedom", fit$df.residual)
  say_likelihood(model$id, -fit$deviance / 2, -fit$null.deviance / 2, fit$rank, sum(d$weights > 0))
  errors <- sqrt(diag(chol2inv(fit$qr$qr[seq_len(fit$rank), seq_len(fit$rank), drop = FALSE])))
  if (any(fit$qr$pivot != seq_along(fit$qr$pivot))) errors <- rep(NA, length(errors))
  say_z(model$id, paste0("2|", d$names), fit$coefficients, errors)
  d$how
}

log_shares <- function(eta) {
  eta <- cbind(0, eta)
  eta <- eta - apply(eta, 1, max)
  eta - log(rowSums(exp(eta)))
}

# multinom searches by steps that columns of unlike size lead astray, and stops when the deviance stands: it is given
# an orthogonal basis of the columns, and steps of Newton's iteration follow.
fit_several <- function(model) {
  d <- logistic_design(model)
  used <- d$weights > 0
  x <- d$x[used, , drop = FALSE]
  weights <- d$weights[used]
  class <- droplevels(factor(d$y[used]))
  others <- nlevels(class) - 1
  decomposed <- qr(sqrt(weights) * x, tol = 1e-12)
  back <- qr.R(decomposed) / sqrt(sum(weights))
  if (any(decomposed$pivot != seq_len(ncol(x)))) stop("the basis was reordered")
  z <- qr.Q(decomposed) * sqrt(sum(weights)) / sqrt(weights)
  fit <- multinom(class ~ z - 1, weights = weights, maxit = 1000, reltol = 1e-14, abstol = 0, trace = FALSE,
                  MaxNWts = 100000)
  if (fit$convergence != 0) warning("multinom did not converge")
  p <- ncol(z)
  b <- matrix(t(matrix(coef(fit), nrow = others)), nrow = p)
  observed <- outer(as.integer(class), seq_len(others + 1), "==")
  value <- function(b) sum(weights * rowSums(log_shares(z %*% b) * observed))
  is_small <- FALSE
  for (round in 1:50) {
    shares <- exp(log_shares(z %*% b))[, -1, drop = FALSE]
    information <- matrix(0, p * others, p * others)
    for (i in seq_len(others)) {
      for (j in seq_len(others)) {
        spread <- weights * shares[, i] * ((i == j) - shares[, j])
        information[(i - 1) * p + 1:p, (j - 1) * p + 1:p] <- crossprod(z, spread * z)
      }
    }
    covariance <- chol2inv(chol(information))
    score <- crossprod(z, weights * (observed[, -1, drop = FALSE] - shares))
    step <- matrix(covariance %*% as.vector(score), nrow = p)
    size <- max(abs(step) / sqrt(diag(covariance)))
    if (round == 1) say(model$id, "number", "search_error", size)
    if (is_small) break
    is_small <- size < 1e-10
    while (size > 1e-4 && !isTRUE(value(b + step) > value(b)) && max(abs(step)) > 1e-12) step <- step / 2
    b <- b + step
  }
  if (round == 50) warning("Newton's steps after multinom did not converge")
  n <- sum(used)
  log_likelihood <- value(b)
  sums <- tapply(weights, class, sum)
  has_intercept <- attr(terms(as.formula(model$formula)), "intercept") == 1
  initial <- if (has_intercept) sum(sums * log(sums / sum(sums))) else -sum(sums) * log(others + 1)
  say(model$id, "number", "used", n)
  say(model$id, "number", "rank", d$rank)
  say(model$id, "number", "degrees_of_freedom", n - p * others)
  say_likelihood(model$id, log_likelihood, initial, p * others, n)
  inverse <- backsolve(back, diag(p))
  for (j in seq_len(others)) {
    block <- covariance[(j - 1) * p + 1:p, (j - 1) * p + 1:p, drop = FALSE]
    errors <- sqrt(diag(inverse %*% block %*% t(inverse)))
    say_z(model$id, paste0(sub("L", "", levels(class)[j + 1]), "|", d$names), inverse %*% b[, j], errors)
  }
  d$how
}

fit_model <- function(model) {
  warnings <- character(0)
  fits <- list(linear = fit_linear, binary = fit_binary, several = fit_several)
  how <- tryCatch(
    withCallingHandlers(fits[[model$kind]](model), warning = function(w) {
      warnings <<- c(warnings, conditionMessage(w))
      invokeRestart("muffleWarning")
    }),
    error = function(e) structure("error", why = conditionMessage(e)))
  for (text in unique(warnings)) cat(model$id, "warning", gsub("[\t\n]", " ", text), sep = "\t", fill = FALSE, "\n", file = out)
  why <- if (is.null(attr(how, "why"))) "" else gsub("[\t\n]", " ", attr(how, "why"))
  cat(model$id, "end", how, why, sep = "\t", file = out)
  cat("\n", file = out)
}

folder <- commandArgs(TRUE)[1]
out <- file(file.path(folder, "peer.tsv"), "w")
numbers <- file(file.path(folder, "numbers.bin"), "rb")
for (line in readLines(file.path(folder, "models.tsv"))) fit_model(read_model(line, numbers))
close(out)
