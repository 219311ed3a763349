# Tests of nested models against each other, computed by R.
#
#   Rscript tests/reference/compare/make.R
#
# writes NAME.json for every case below, beside this script: anova() of two linear models, the
# likelihood ratio of two glm or multinom. Needs nnet (made with R 4.2.2, nnet 7.3-18).
#
# Records are repeated by their frequency weight; the regression weight is that of lm, glm and
# multinom. The model with everything is that of ../robust, with its table.

options(digits = 17, stringsAsFactors = FALSE)
invisible(Sys.setlocale("LC_COLLATE", "C"))
library(nnet)
script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
source(file.path(folder, "..", "case_file.R"))

example <- function(name) {
  d <- read.csv(file.path(folder, "..", "..", "..", "examples", "data", name),
                na.strings = c("", "NA"))
  d
}
everything <- read.csv(file.path(folder, "..", "robust", "everything.csv"),
                       na.strings = c("", "NA"))
everything <- everything[rep(seq_len(nrow(everything)), everything$f), ]

json_value <- function(x) if (is.na(x)) "null" else json_number(x)

write_test <- function(name, data, formulas, options, df, statistic, p, df_residual = NA, ss = NA) {
  write_case(file.path(folder, paste0(name, ".json")),
             list(data = json_string(data),
                  formulas = as_array(vapply(formulas, json_string, "")),
                  options = as_array(vapply(options, json_string, "")),
                  df = json_value(df), df_residual = json_value(df_residual),
                  statistic = json_value(statistic), p_value = json_value(p),
                  sum_of_squares = json_value(ss)))
}

linear <- function(name, file, formulas, options, smaller, larger) {
  a <- anova(smaller, larger)
  stopifnot(nobs(smaller) == nobs(larger))
  write_test(name, file, formulas, options, a$Df[2], a$F[2], a$`Pr(>F)`[2], a$Res.Df[2],
             a$`Sum of Sq`[2])
}

likelihood <- function(name, file, formulas, options, l0, l1, df) {
  chi <- 2 * (l1 - l0)
  write_test(name, file, formulas, options, df, chi, pchisq(chi, df, lower.tail = FALSE))
}

d <- example("penguins.csv")
d <- d[complete.cases(d[c("body_mass", "sex", "flipper_length")]), ]
linear("penguins", "penguins.csv",
       c("body_mass ~ species + sex", "body_mass ~ species*sex + flipper_length"),
       c("--where", "sex is not null"),
       lm(body_mass ~ species + sex, d), lm(body_mass ~ species * sex + flipper_length, d))

d <- example("cars.csv")
d <- d[!is.na(d$miles_per_gallon), ]
linear("cars", "cars.csv",
       c("miles_per_gallon ~ cylinders", "miles_per_gallon ~ C(cylinders)"), character(),
       lm(miles_per_gallon ~ cylinders, d), lm(miles_per_gallon ~ factor(cylinders), d))

weights <- c("--freq-weight", "f", "--regression-weight", "r")
d <- everything[complete.cases(everything[c("y", "x", "x2", "r")]), ]
linear("everything", "robust/everything.csv",
       c("y ~ a + x", "y ~ a*b + a/c + x + I(x^2) + x2"), weights,
       lm(y ~ a + x, d, weights = r),
       lm(y ~ a * b + a / c + x + I(x^2) + x2, d, weights = r))

# The columns that do not depend on those before them.
design <- function(formula, data) {
  x <- model.matrix(formula, data)
  q <- qr(x, tol = 1e-9)
  x[, sort(q$pivot[seq_len(q$rank)]), drop = FALSE]
}
small <- ~ a + x
large <- ~ a * b + a / c + x + I(x^2) + x2

d <- everything[complete.cases(everything[c("yb", "x", "x2", "r")]), ]
fit <- function(formula) {
  columns <- design(formula, d)
  m <- suppressWarnings(glm.fit(columns, d$yb == "yes", weights = d$r, family = binomial(),
                                control = glm.control(epsilon = 1e-14, maxit = 100)))
  stopifnot(m$converged)
  # The deviance of zeros and ones is -2 log-likelihood.
  list(l = -m$deviance / 2, p = ncol(columns))
}
m0 <- fit(small)
m1 <- fit(large)
likelihood("everything_binary", "robust/everything.csv",
           c("yb ~ a + x", "yb ~ a*b + a/c + x + I(x^2) + x2"), weights, m0$l, m1$l, m1$p - m0$p)

d <- everything[complete.cases(everything[c("y3", "x", "x2", "r")]), ]
fit <- function(formula) {
  columns <- design(formula, d)
  m <- multinom(y3 ~ columns - 1, d, weights = r, trace = FALSE, reltol = 1e-15, abstol = 0,
                maxit = 10000)
  list(l = -m$value, p = 2 * ncol(columns))
}
m0 <- fit(small)
m1 <- fit(large)
likelihood("everything_three", "robust/everything.csv",
           c("y3 ~ a + x", "y3 ~ a*b + a/c + x + I(x^2) + x2"), weights, m0$l, m1$l, m1$p - m0$p)
