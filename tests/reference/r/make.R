# Reference fits of the linear model, computed by R.
#
#   Rscript tests/reference/r/make.R
#
# writes the tables and NAME.json for every case below, beside this script. The
# README one folder up explains the keys. Base R only.
#
# Every factor is coded with all its levels, so most designs are singular. The
# expected answer is that of a left-to-right scan: a column that depends on
# earlier ones is redundant, with estimate 0 and variance 0. R's own coding with
# the last level as base (contr.SAS) must give the same fitted values and the
# same residual sum, which the script checks for every case.

options(digits = 17, stringsAsFactors = FALSE, warn = 2)
invisible(Sys.setlocale("LC_COLLATE", "C"))

script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
source(file.path(folder, "..", "case_file.R"))
rank_tolerance <- 1e-9

json_label <- function(column) {
  json_object(list(term = json_string(column$term),
                   levels = json_object(vapply(column$levels, json_string, ""))))
}

# ---- Data -------------------------------------------------------------------

table_path <- function(name) file.path(folder, paste0(name, ".csv"))

# Reads a table back from its CSV, so that R sees the numbers the tests see.
read_table <- function(name) read.csv(table_path(name), na.strings = "", check.names = FALSE)

write_table <- function(name, data) {
  write.csv(data, table_path(name), row.names = FALSE, quote = FALSE, na = "", eol = "\n")
}

# A factor of the formula: levels sorted, numbers by value and text by bytes.
as_levels <- function(values) {
  factor(values, levels = sort(unique(values[!is.na(values)]), method = "radix"))
}

# `C(x)` in a formula makes a numeric column a factor, as in the command.
formula_scope <- new.env(parent = globalenv())
assign("C", as_levels, envir = formula_scope)

# The records used, with text columns as factors: those without a missing value
# in any variable of the model and with weights above 0.
used_records <- function(data, formula, freq, regr) {
  needed <- c(all.vars(formula), freq, regr)
  keep <- complete.cases(data[needed])
  for (weight in c(freq, regr)) keep <- keep & !is.na(data[[weight]]) & data[[weight]] > 0
  data <- data[keep, , drop = FALSE]
  for (column in names(data)) {
    if (is.character(data[[column]])) data[[column]] <- as_levels(data[[column]])
  }
  data
}

# ---- Design -----------------------------------------------------------------

column_name <- function(variable) sub("^C\\((.*)\\)$", "\\1", variable)

# A term's factors and covariates with their powers, in the order of their first appearance.
describe_term <- function(uses, frame, is_nested) {
  variables <- names(uses)[uses > 0]
  is_factor <- vapply(frame[variables], is.factor, TRUE)
  factors <- column_name(variables[is_factor])
  covariates <- variables[!is_factor]
  powers <- ifelse(grepl("^I", covariates), sub(".*\\^(.*)\\)$", "\\1", covariates), "1")
  names(powers) <- sub("^I\\((.*)\\^.*$", "\\1", covariates)
  term <- list(factors = json_array(vapply(factors, json_string, "")),
               covariates = json_object(powers))
  if (is_nested && length(factors) > 1) term$nested <- "true"
  json_object(term)
}

# One column per observed combination of the term's factors, ordered by level
# index with the first factor most significant; times the term's covariates.
term_columns <- function(term, uses, frame) {
  variables <- names(uses)[uses > 0]
  is_factor <- vapply(frame[variables], is.factor, TRUE)
  factors <- variables[is_factor]
  slope <- rep(1, nrow(frame))
  for (covariate in variables[!is_factor]) slope <- slope * as.numeric(frame[[covariate]])

  shown <- ifelse(is_factor, paste0("C(", column_name(variables), ")"), variables)
  # Factors first, then covariates, as the terms of the exact cases read.
  shown <- gsub(" ", "", paste(c(shown[is_factor], shown[!is_factor]), collapse = ":"))
  if (length(factors) == 0) {
    return(list(list(term = shown, levels = character(), values = slope)))
  }

  codes <- lapply(frame[factors], as.integer)
  cells <- unique(data.frame(codes, check.names = FALSE))
  cells <- cells[do.call(order, unname(as.list(cells))), , drop = FALSE]
  lapply(seq_len(nrow(cells)), function(cell) {
    inside <- rep(TRUE, nrow(frame))
    levels <- character()
    for (f in factors) {
      inside <- inside & codes[[f]] == cells[cell, f]
      levels[column_name(f)] <- levels(frame[[f]])[cells[cell, f]]
    }
    list(term = shown, levels = levels, values = ifelse(inside, slope, 0))
  })
}

design_columns <- function(terms, frame) {
  columns <- list()
  if (attr(terms, "intercept") == 1) {
    columns <- list(list(term = "(Intercept)", levels = character(), values = rep(1, nrow(frame))))
  }
  table <- attr(terms, "factors")
  for (term in attr(terms, "term.labels")) {
    columns <- c(columns, term_columns(term, table[, term], frame))
  }
  columns
}

# The columns that a left-to-right scan keeps. R's qr moves a column that
# depends on earlier ones to the end and leaves the rest in their order.
kept_columns <- function(x) {
  decomposition <- qr(x, tol = rank_tolerance, LAPACK = FALSE)
  sort(decomposition$pivot[seq_len(decomposition$rank)])
}

# ---- Fit --------------------------------------------------------------------

# R's own coding, with the last level as base, must agree. Here a frequency of 3
# is three records, and the regression weights are lm's weights.
check_against_lm <- function(terms, used, f, r, fitted, sse, r_square, scale) {
  record <- rep(seq_len(nrow(used)), f)
  rows <- used[record, , drop = FALSE]
  rows$.weight <- r[record]
  frame <- model.frame(terms, rows)
  factors <- names(frame)[vapply(frame, is.factor, TRUE)]
  contrasts <- setNames(rep(list("contr.SAS"), length(factors)), factors)
  if (length(contrasts) == 0) contrasts <- NULL
  fit <- lm(terms, data = rows, weights = .weight, contrasts = contrasts, tol = rank_tolerance)
  stopifnot(max(abs(fit$fitted.values - fitted[record])) <= 1e-11 * scale)
  stopifnot(abs(sum(rows$.weight * fit$residuals^2) - sse) <= 1e-11 * sum(rows$.weight) * scale^2)
  if (sse > 0) {
    stopifnot(abs(summary(fit)$r.squared - r_square) <= 1e-11)
  }
}

fit_case <- function(formula_text, data, freq, regr) {
  formula <- as.formula(formula_text, env = formula_scope)
  used <- used_records(data, formula, freq, regr)
  f <- if (is.null(freq)) rep(1, nrow(used)) else used[[freq]]
  r <- if (is.null(regr)) rep(1, nrow(used)) else used[[regr]]
  stopifnot(f == round(f))
  w <- f * r

  terms <- terms(formula, keep.order = TRUE)
  frame <- model.frame(terms, used)
  y <- model.response(frame)
  columns <- design_columns(terms, frame)
  x <- do.call(cbind, lapply(columns, `[[`, "values"))
  kept <- kept_columns(x * sqrt(w))

  fit <- lm.wfit(x[, kept, drop = FALSE], y, w, tol = rank_tolerance)
  stopifnot(fit$rank == length(kept))
  inverse <- chol2inv(fit$qr$qr[seq_along(kept), seq_along(kept), drop = FALSE])

  estimates <- variances <- rep(0, ncol(x))
  estimates[kept] <- fit$coefficients
  variances[kept] <- diag(inverse)
  # What is zero but for rounding (a constant dependent) is zero.
  scale <- max(abs(y))
  estimates[abs(estimates) * apply(abs(x), 2, max) < 1e-13 * scale] <- 0

  centre <- if (attr(terms, "intercept") == 1) sum(w * y) / sum(w) else 0
  total <- sum(w * (y - centre)^2)
  # As many kept columns as records, or nothing to explain: no residual.
  exact <- length(kept) == nrow(used) || total == 0
  sse <- if (exact) 0 else sum(w * fit$residuals^2)
  stopifnot(!exact || sum(w * fit$residuals^2) <= 1e-26 * sum(w) * scale^2)
  r_square <- if (total > sse) 1 - sse / total else 0
  check_against_lm(terms, used, f, r, fit$fitted.values, sse, r_square, scale)

  # `/` stands in formulas of nested factors only.
  table <- attr(terms, "factors")
  described <- vapply(attr(terms, "term.labels"), function(term) {
    describe_term(table[, term], frame, grepl("/", formula_text, fixed = TRUE))
  }, "")

  list(dependent = all.vars(formula)[1], intercept = attr(terms, "intercept") == 1,
       terms = described, n = nrow(used), columns = columns, estimates = estimates,
       redundant = !(seq_len(ncol(x)) %in% kept), variances = variances,
       rmse = sqrt(sse / sum(f)), r_square = r_square, sse = sse)
}

write_fit <- function(name, table, formula_text, freq, regr, fit) {
  options <- c(if (!is.null(freq)) c("--freq-weight", freq),
               if (!is.null(regr)) c("--regression-weight", regr))
  write_case(file.path(folder, paste0(name, ".json")), list(
    kind = json_string("linear"),
    data = json_string(paste0("r/", table, ".csv")),
    formula = json_string(formula_text),
    options = as_array(vapply(options, json_string, "")),
    dependent = json_string(fit$dependent),
    intercept = json_bool(fit$intercept),
    terms = as_array(fit$terms),
    n = as.character(fit$n),
    labels = as_array(vapply(fit$columns, json_label, "")),
    estimates = as_array(json_number(fit$estimates)),
    redundant = as_array(json_bool(fit$redundant)),
    unscaled_variance = as_array(json_number(fit$variances)),
    rmse = json_number(fit$rmse),
    r_square = json_number(fit$r_square),
    sse = json_number(fit$sse)))
}

case <- function(name, formula_text, table = name, freq = NULL, regr = NULL) {
  fit <- fit_case(formula_text, read_table(table), freq, regr)
  write_fit(name, table, formula_text, freq, regr, fit)
  cat(sprintf("%-28s n %4d  columns %3d  redundant %2d  R square %.6f\n", name, fit$n,
              length(fit$redundant), sum(fit$redundant), fit$r_square))
}

# ---- Made-up data: whole numbers and short decimals -------------------------

# n whole numbers from 0 to range - 1, by the minimal standard generator, so that
# they depend on no version of R.
draw <- function(n, range, seed) {
  state <- seed
  for (skip in 1:5) state <- (state * 16807) %% 2147483647
  vapply(seq_len(n), function(i) {
    state <<- (state * 16807) %% 2147483647
    (state %/% 1024) %% range
  }, 0)
}
pick <- function(values, n, seed) values[draw(n, length(values), seed) + 1]

n <- 60
a <- pick(c("low", "mid", "high"), n, 1)
b <- pick(c("east", "north", "south", "west"), n, 2)
y <- 12 + draw(n, 29, 3) + (a == "high") * 6 + (b == "south") * 4
crossing <- data.frame(a, b, y)
crossing <- crossing[!(a == "mid" & b == "west") & !(a == "high" & b == "east"), ]
write_table("crossing", crossing)
case("crossing_empty_cells", "y ~ a * b", "crossing")
case("no_intercept_two_factors", "y ~ a + b - 1", "crossing")

# Two groups of cells that share no level: one more redundant column than usual.
apart <- data.frame(a = pick(c("p", "q", "r", "s"), 60, 4), b = pick(c("t", "u", "v", "w"), 60, 5))
apart <- apart[(apart$a %in% c("p", "q")) == (apart$b %in% c("t", "u")), ]
apart$y <- 5 + draw(nrow(apart), 17, 6)
write_table("crossing_disconnected", apart)
case("crossing_disconnected", "y ~ a + b")

n <- 48
school <- pick(c("ash", "birch", "cedar", "fir"), n, 7)
class <- pick(c("c1", "c2", "c3"), n, 8)
class[school == "birch" & class == "c3"] <- "c2"
class[school == "cedar"] <- "c1"
pupils <- data.frame(school, class, score = 40 + draw(n, 31, 9) + (school == "fir") * 5)
write_table("nested", pupils)
case("nested", "score ~ school / class")

n <- 72
site <- pick(c("s1", "s2"), n, 10)
plot <- pick(c("a", "b", "c"), n, 11)
plant <- pick(c("x", "y"), n, 12)
yield <- 20 + draw(n, 23, 13)
write_table("nested_twice", data.frame(site, plot, plant, yield))
case("nested_twice", "yield ~ site / plot / plant")

n <- 45
g <- pick(c("blue", "green", "red"), n, 14)
x <- draw(n, 41, 15) / 10
z <- draw(n, 13, 16) - 6
y <- 3 + 2 * x + (g == "green") * x + draw(n, 19, 17) / 4
grouped <- data.frame(g, x, z, y)
write_table("grouped", grouped)
case("slope_by_factor", "y ~ g + x + g:x", "grouped")
case("slope_only_by_factor", "y ~ g:x", "grouped")
case("square", "y ~ x + I(x^2)", "grouped")
case("square_by_factor", "y ~ g + x + I(x^2) + g:I(x^2)", "grouped")
case("factor_two_covariates", "y ~ g + x + z + x:z + g:x:z", "grouped")
case("covariate_before_factor", "y ~ x + g + z", "grouped")
case("intercept_only", "y ~ 1", "grouped")
case("no_intercept", "y ~ 0 + g + x", "grouped")
case("no_intercept_covariates", "y ~ 0 + x + z", "grouped")

weighted <- grouped
weighted$n <- draw(n, 5, 18)  # 0 to 4; a record of frequency 0 is left out
weighted$r <- (1 + draw(n, 8, 19)) / 4
write_table("weighted", weighted)
case("freq_weight", "y ~ g * x", "weighted", freq = "n")
case("regression_weight", "y ~ g * x", "weighted", regr = "r")
case("both_weights", "y ~ g * x", "weighted", freq = "n", regr = "r")
case("both_weights_no_intercept", "y ~ 0 + x + z", "weighted", freq = "n", regr = "r")
case("intercept_only_weighted", "y ~ 1", "weighted", freq = "n", regr = "r")

cells <- expand.grid(b = c("k", "l"), a = c("d", "e", "f"))[c("a", "b")]
cells$y <- c(4, 9, 2, 7.5, 1, 6)
write_table("saturated", cells)
case("saturated", "y ~ a * b")
write_table("constant_dependent", transform(grouped, y = 7))
case("constant_dependent", "y ~ g + x")

n <- 96
three <- data.frame(a = pick(c("a1", "a2"), n, 20), b = pick(c("b1", "b2", "b3"), n, 21),
                    c = pick(c("c1", "c2", "c3"), n, 22), y = 30 + draw(n, 37, 23))
three <- three[!(three$a == "a1" & three$b == "b3" & three$c == "c2") &
                 !(three$a == "a2" & three$b == "b1"), ]
write_table("three_way", three)
case("three_way", "y ~ a * b * c")
case("three_way_pairs", "y ~ a + b + c + a:b + a:c + b:c", "three_way")
case("crossing_alone", "y ~ a:b:c", "three_way")

n <- 20
x1 <- seq_len(n) - 4
x3 <- draw(n, 9, 24)
y <- 2 + draw(n, 13, 25) + x1
write_table("collinear", data.frame(y, x1, x2 = 2 * x1, x3))
case("collinear", "y ~ x1 + x2 + x3")
write_table("collinear_sum", data.frame(y, x1, x2 = draw(n, 7, 26), x3, x4 = 3 * x1 - 2 * x3 + 5))
case("collinear_sum", "y ~ x1 + x3 + x4 + x2")

holes <- weighted
holes$y[c(2, 17)] <- NA
holes$x[c(5, 17, 30)] <- NA
holes$g[c(9, 41)] <- NA
holes$n[c(12, 13)] <- NA
holes$r[c(20)] <- NA
write_table("missing", holes)
case("missing", "y ~ g + x + g:x")
case("missing_weights", "y ~ g + x", "missing", freq = "n", regr = "r")

# ---- Tables that come with R (package datasets) ------------------------------

write_table("mtcars", mtcars)
case("mtcars", "mpg ~ C(cyl) * wt + hp")
case("mtcars_square", "mpg ~ wt + I(wt^2) + C(gear)", "mtcars")
write_table("warpbreaks", warpbreaks)
case("warpbreaks", "breaks ~ wool * tension")
write_table("toothgrowth", ToothGrowth)
case("toothgrowth", "len ~ supp * C(dose)")
case("toothgrowth_slope", "len ~ supp * dose", "toothgrowth")
write_table("airquality",
            setNames(airquality, c("ozone", "solar", "wind", "temp", "month", "day")))
case("airquality", "ozone ~ solar + wind + temp + C(month)")
write_table("chickwts", chickwts)
case("chickwts", "weight ~ feed")
write_table("esoph", esoph)
case("esoph", "ncases ~ agegp + alcgp + tobgp", regr = "ncontrols")
berkeley <- as.data.frame(UCBAdmissions)
berkeley$admitted <- as.integer(berkeley$Admit == "Admitted")
write_table("berkeley", berkeley)
case("berkeley", "admitted ~ Gender * Dept", freq = "Freq")
ship <- as.data.frame(Titanic)
ship$lived <- as.integer(ship$Survived == "Yes")
write_table("titanic", ship)
case("titanic", "lived ~ Class * Sex * Age", freq = "Freq")
write_table("npk",
            data.frame(block = paste0("b", npk$block), N = as.integer(as.character(npk$N)),
                       P = as.integer(as.character(npk$P)), K = as.integer(as.character(npk$K)),
                       yield = npk$yield))
case("npk", "yield ~ block + C(N) * C(P) * C(K)")
