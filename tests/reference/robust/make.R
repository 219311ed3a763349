# Robust covariance matrices and diagnostics of records, computed by R.
#
#   Rscript tests/reference/robust/make.R
#
# writes, beside this script, the table everything.csv, errors.csv with a standard
# error for each model, kind and parameter, and linear.csv and binary.csv with a row
# of diagnostics for each row of the table. Needs sandwich (made with R 4.2.2 and
# sandwich 3.0-2).
#
# The model has two weights, a crossing with an empty cell, an effect within another,
# a power and a redundant column. Records are repeated by their frequency weight; the
# regression weight is that of lm and glm. Each factor is coded with all its levels;
# columns that depend on earlier ones are left out.

options(digits = 17, stringsAsFactors = FALSE)
invisible(Sys.setlocale("LC_COLLATE", "C"))
library(sandwich)
script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
path <- function(name) file.path(folder, name)

# ---- The table ------------------------------------------------------------------

set.seed(7)
n <- 90
d <- data.frame(a = sample(c("p", "q", "s"), n, TRUE), b = sample(c("k", "l", "m"), n, TRUE),
                c = sample(c("u", "v"), n, TRUE), x = round(runif(n, 0, 10), 2))
d$b[d$a == "q" & d$b == "m"] <- "k"
d$x2 <- 2 * d$x + 1
d$f <- sample(c(1, 1, 2, 3, 0), n, TRUE)
d$r <- round(runif(n, 0.25, 2), 2)
d$cl <- sample(sprintf("g%02d", 1:9), n, TRUE)
d$y <- round(d$x - 0.08 * d$x^2 + (d$a == "q") + 0.5 * (d$c == "u") +
             rnorm(9)[as.integer(substr(d$cl, 2, 3))] + rnorm(n) * (0.3 + 0.1 * d$x), 3)
odds <- d$y - mean(d$y)
d$yb <- ifelse(runif(n) < plogis(0.6 * odds), "yes", "no")
p <- cbind(1, exp(0.5 * odds), exp(-0.3 * odds))
d$y3 <- apply(p, 1, function(w) sample(c("hi", "lo", "mid"), 1, prob = w))
d$y[5] <- NA; d$yb[9] <- NA; d$y3[11] <- NA; d$x[13] <- NA; d$x2[13] <- NA; d$r[17] <- NA
write.csv(d, path("everything.csv"), row.names = FALSE, quote = FALSE, na = "", eol = "\n")
d <- read.csv(path("everything.csv"), na.strings = "")

# ---- The design: y ~ a*b + a/c + x + I(x^2) + x2 ----------------------------------

levels_of <- function(v) sort(unique(v), method = "radix")
design <- function(used) {
  columns <- list(`(Intercept)` = rep(1, nrow(used)))
  cells <- function(names) {
    keys <- unique(used[names])
    keys <- keys[do.call(order, unname(as.list(keys))), , drop = FALSE]
    for (i in seq_len(nrow(keys))) {
      hit <- rep(TRUE, nrow(used))
      for (name in names) hit <- hit & used[[name]] == keys[i, name]
      columns[[paste(sprintf("%s=%s", names, unlist(keys[i, ])), collapse = ":")]] <<- hit + 0
    }
  }
  cells("a"); cells("b"); cells(c("a", "b")); cells(c("a", "c"))
  columns$x <- used$x
  columns[["I(x^2)"]] <- used$x^2
  columns$x2 <- used$x2
  X <- do.call(cbind, columns)
  q <- qr(X, tol = 1e-9)
  X[, sort(q$pivot[seq_len(q$rank)]), drop = FALSE]
}

used_of <- function(dependent) {
  needed <- d[c("a", "b", "c", "x", "x2", "f", "r", dependent)]
  which(complete.cases(needed) & d$f > 0)
}

errors <- NULL
add_errors <- function(model, kind, V, labels) {
  errors <<- rbind(errors, data.frame(model = model, kind = kind, label = labels,
                                      error = trimws(format(sqrt(diag(V)), digits = 17))))
}

add_kinds <- function(name, m, cluster, labels) {
  for (kind in c("HC0", "HC1", "HC2", "HC3")) {
    add_errors(name, tolower(kind), vcovHC(m, type = kind), labels)
  }
  add_errors(name, "cluster", vcovCL(m, cluster = cluster, type = "HC1"), labels)
}

write_rows <- function(name, used, first, numbers) {
  rows <- as.data.frame(matrix(NA_character_, nrow(d), length(numbers), dimnames = list(NULL, names(numbers))))
  for (column in names(numbers)) rows[[column]][used] <- 
    trimws(format(unname(numbers[[column]])[first], digits = 17))
  write.csv(rows, path(name), row.names = FALSE, quote = FALSE, na = "", eol = "\n")
}

# ---- The models -------------------------------------------------------------------

used <- used_of("y")
X <- design(d[used, ])
times <- rep(seq_along(used), d$f[used])
first <- match(seq_along(used), times)
e <- list(X = X[times, ], y = d$y[used][times], r = d$r[used][times])
m <- lm(y ~ X - 1, e, weights = r)
stopifnot(!anyNA(coef(m)))
add_kinds("linear", m, d$cl[used][times], colnames(X))
write_rows("linear.csv", used, first,
           list(fitted = fitted(m), residual = residuals(m), standardized = rstandard(m),
                studentized = rstudent(m), leverage = hatvalues(m),
                cooks_distance = cooks.distance(m)))

used <- used_of("yb")
X <- design(d[used, ])
times <- rep(seq_along(used), d$f[used])
first <- match(seq_along(used), times)
e <- list(X = X[times, ], y = (d$yb[used] == "yes")[times] + 0, r = d$r[used][times])
m <- suppressWarnings(glm(y ~ X - 1, binomial, e, weights = r,
                          control = glm.control(epsilon = 1e-15, maxit = 50)))
stopifnot(!anyNA(coef(m)))
add_kinds("binary", m, d$cl[used][times], colnames(X))
write_rows("binary.csv", used, first,
           list(deviance_residual = residuals(m, "deviance"),
                pearson_residual = residuals(m, "pearson"), leverage = hatvalues(m),
                cooks_distance = cooks.distance(m)))

write.csv(errors, path("errors.csv"), row.names = FALSE, quote = FALSE, eol = "\n")
