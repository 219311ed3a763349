# Tests of effects, fit statistics and variance inflation, computed by R.
#
#   Rscript tests/reference/effects/make.R
#
# writes everything.csv and NAME.json for every case below, beside this script. Needs the packages
# car and nnet (made with R 4.2.2, car 3.1-1, nnet 7.3-18).
#
# Tests of types 1 and 2 compare refits without terms. Of type 3: in a design with all cells,
# car::Anova under contr.sum; elsewhere the estimable functions of the term and of those that have
# more factors, orthogonal to the functions of the latter alone, from a generalized inverse of the
# design with a column for every level. Where anova() or car::Anova() can compute the same, the
# script checks that they agree.

options(digits = 17, stringsAsFactors = FALSE, warn = 1)
invisible(Sys.setlocale("LC_COLLATE", "C"))
suppressMessages({ library(car); library(nnet) })

script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
source(file.path(folder, "..", "case_file.R"))

close_to <- function(a, b, digits = 8) {
  stopifnot(length(a) == length(b))
  stopifnot(all(abs(a - b) <= 10^-digits * pmax(abs(a), abs(b), 1e-8)))
}

# ---- Designs ----------------------------------------------------------------

# A term is list(label, factors = names, powers = c(covariate = power)).
term <- function(label, factors = character(), powers = c()) {
  list(label = label, factors = factors, powers = powers)
}

# A column for each combination of levels that occurs, times the covariates.
columns_of <- function(t, data) {
  x <- rep(1, nrow(data))
  for (v in names(t$powers)) x <- x * data[[v]]^t$powers[[v]]
  if (length(t$factors) == 0) return(matrix(x, ncol = 1))
  cell <- interaction(data[t$factors], drop = TRUE, lex.order = TRUE)
  outer(seq_along(x), levels(cell), function(i, l) x[i] * (cell[i] == l))
}

design <- function(terms, data, intercept = TRUE) {
  blocks <- lapply(terms, columns_of, data = data)
  x <- do.call(cbind, c(if (intercept) list(rep(1, nrow(data))), blocks))
  if (is.null(x)) x <- matrix(0, nrow(data), 0)
  owner <- rep(seq_along(terms), vapply(blocks, ncol, 1L))
  list(x = x, owner = c(if (intercept) 0L, owner))
}

powers_of <- function(t) c(setNames(rep(1, length(t$factors)), t$factors), unlist(t$powers))

contains <- function(larger, smaller) {
  a <- powers_of(larger); b <- powers_of(smaller)
  if (setequal(names(a), names(b)) && all(a[names(b)] == b)) return(FALSE)
  all(names(b) %in% names(a)) && all(a[names(b)] >= b)
}

has_more_factors <- function(larger, smaller) {
  same <- setequal(names(larger$powers), names(smaller$powers)) &&
    all(unlist(larger$powers)[names(smaller$powers)] == unlist(smaller$powers))
  same && length(larger$factors) > length(smaller$factors) &&
    all(smaller$factors %in% larger$factors)
}

# ---- Linear models ----------------------------------------------------------

fit_least_squares <- function(x, y, w) {
  if (ncol(x) == 0) return(list(rss = sum(w * y^2), rank = 0))
  fit <- lm.wfit(x, y, w, tol = 1e-9)
  list(rss = sum(w * fit$residuals^2), rank = fit$rank)
}

# Sum of squares and degrees of freedom of type 3 by estimable functions.
estimable_test <- function(i, terms, d, y, w) {
  x <- d$x; owner <- d$owner
  scale <- sqrt(colSums(x^2))
  inner <- which(vapply(terms, has_more_factors, TRUE, smaller = terms[[i]]))
  involved <- owner %in% c(i, inner)
  s <- svd(x / rep(scale, each = nrow(x)))
  rank <- sum(s$d > 1e-9 * s$d[1])
  rows <- t(s$v[, seq_len(rank), drop = FALSE]) * rep(scale, each = rank)  # Row space of x.
  null_of <- function(m) {
    if (length(m) == 0 || nrow(m) == 0) return(NULL)
    s <- svd(m, nu = 0, nv = ncol(m))
    r <- sum(s$d > 1e-9 * max(s$d, 1e-300))
    s$v[, seq_len(ncol(m)) > r, drop = FALSE]
  }
  # Combinations of rows that are 0 outside the columns involved.
  k <- if (all(involved)) diag(rank) else null_of(t(rows[, !involved, drop = FALSE]))
  l <- t(k) %*% rows
  if (length(inner) > 0) {
    g <- null_of(t(l[, owner == i, drop = FALSE]))
    alone <- t(g) %*% l
    l <- t(null_of(alone %*% t(l))) %*% l
  }
  if (nrow(l) == 0) return(list(df = 0, ss = 0))
  b <- qr.coef(qr(sqrt(w) * x, tol = 1e-9), sqrt(w) * y)
  kept <- !is.na(b)
  v <- chol2inv(chol(crossprod(sqrt(w) * x[, kept])))
  l <- l[, kept, drop = FALSE]
  e <- l %*% b[kept]
  list(df = nrow(l), ss = drop(t(e) %*% solve(l %*% v %*% t(l), e)))
}

linear_effects <- function(type, terms, data, y, w, intercept) {
  full <- fit_least_squares(design(terms, data, intercept)$x, y, w)
  df_residual <- length(y) - full$rank
  lapply(seq_along(terms), function(i) {
    if (type == 3) {
      test <- estimable_test(i, terms, design(terms, data, intercept), y, w)
    } else {
      larger <- if (type == 1) seq_len(i) else
        which(!vapply(terms, contains, TRUE, smaller = terms[[i]]))
      a <- fit_least_squares(design(terms[larger], data, intercept)$x, y, w)
      b <- fit_least_squares(design(terms[setdiff(larger, i)], data, intercept)$x, y, w)
      test <- list(df = a$rank - b$rank, ss = b$rss - a$rss)
    }
    f <- test$ss / test$df / (full$rss / df_residual)
    list(term = terms[[i]]$label, df = test$df, df_residual = df_residual, statistic = f,
         p_value = pf(f, test$df, df_residual, lower.tail = FALSE), sum_of_squares = test$ss)
  })
}

# ---- Logistic models --------------------------------------------------------

log_likelihood <- function(x, y, w) {
  if (ncol(x) == 0) stop("no model")
  q <- qr(x, tol = 1e-9)
  x <- x[, q$pivot[seq_len(q$rank)], drop = FALSE]
  fit <- multinom(y ~ x - 1, weights = w, trace = FALSE, reltol = 1e-15, abstol = 0,
                  maxit = 10000, MaxNWts = 10000)
  list(loglik = -fit$value, parameters = q$rank * (nlevels(y) - 1))
}

logistic_effects <- function(type, terms, data, y, w, wald = NULL) {
  lapply(seq_along(terms), function(i) {
    larger <- switch(type, seq_len(i), which(!vapply(terms, contains, TRUE, smaller = terms[[i]])),
                     seq_along(terms))
    if (type == 3 && any(vapply(terms, has_more_factors, TRUE, smaller = terms[[i]]))) {
      return(wald[[terms[[i]]$label]])
    }
    a <- log_likelihood(design(terms[larger], data)$x, y, w)
    b <- log_likelihood(design(terms[setdiff(larger, i)], data)$x, y, w)
    chi <- 2 * (a$loglik - b$loglik); df <- a$parameters - b$parameters
    list(term = terms[[i]]$label, df = df, df_residual = NA, statistic = chi,
         p_value = pchisq(chi, df, lower.tail = FALSE), sum_of_squares = NA)
  })
}

# ---- Files ------------------------------------------------------------------

json_value <- function(x) if (is.null(x) || is.na(x)) "null" else json_number(x)
json_effect <- function(e) {
  json_object(c(term = json_string(e$term),
                vapply(e[-1], function(v) if (is.nan(v)) "null" else json_value(v), "")))
}

write_effects <- function(name, data, formula, options, effects, fit = list(), vif = NULL) {
  entries <- list(data = json_string(data), formula = json_string(formula),
                  options = as_array(vapply(options, json_string, "")),
                  effects = as_array(vapply(effects, json_effect, "")),
                  fit = json_object(vapply(fit, json_value, "")))
  if (!is.null(vif)) {
    entries$gvif <- as_array(vapply(vif$gvif, json_value, ""))
    entries$condition_number <- json_value(vif$condition)
  }
  write_case(file.path(folder, paste0(name, ".json")), entries)
}

# As R defines them; frequency weights count records, so the data come expanded.
fit_statistics <- function(m) {
  s <- summary(m)
  f <- s$fstatistic
  list(r_square = s$r.squared, adjusted_r_square = s$adj.r.squared, f_statistic = f[[1]],
       f_df = f[[2]], f_p_value = pf(f[[1]], f[[2]], f[[3]], lower.tail = FALSE),
       log_likelihood = as.numeric(logLik(m)), aic = AIC(m), bic = BIC(m))
}

condition_number <- function(x, w = rep(1, nrow(x))) {
  q <- qr(sqrt(w) * x, tol = 1e-9)
  x <- (sqrt(w) * x)[, sort(q$pivot[seq_len(q$rank)]), drop = FALSE]
  kappa(x / rep(sqrt(colSums(x^2)), each = nrow(x)), exact = TRUE)
}

# ---- Data -------------------------------------------------------------------

example <- function(name) {
  read.csv(file.path(folder, "..", "..", "..", "examples", "data", name), na.strings = c("", "NA"))
}

# Two weights, a crossing with an empty cell, powers, a redundant column (z = 3 - 2 x), a factor
# nested in another. Decimals that print exactly.
make_everything <- function() {
  set.seed(20240613)
  n <- 320
  d <- data.frame(a = sample(c("p", "q", "r"), n, TRUE), b = sample(c("u", "v", "w", "x"), n, TRUE))
  d <- d[!(d$a == "q" & d$b == "w"), ]
  n <- nrow(d)
  d$x <- round(runif(n, -2, 3), 2)
  d$z <- 3 - 2 * d$x
  d$s <- round(rnorm(n), 2)
  d$town <- paste0(d$a, sample(1:3, n, TRUE))
  d$f <- sample(1:3, n, TRUE)
  d$w <- round(runif(n, 0.2, 2), 2)
  d$y <- round(2 + (d$a == "p") - 0.5 * (d$b == "v") + 0.7 * (d$a == "r" & d$b == "u") + 0.4 * d$x -
                 0.2 * d$x^2 + 0.3 * d$s * (d$a == "q") + 0.2 * (d$town == "p2") +
                 rnorm(n) / sqrt(d$w), 3)
  d$k <- cut(d$y + 2.5 * rnorm(n), c(-Inf, 1.5, 2.8, Inf), labels = c("high", "low", "mid"))
  write.csv(d, file.path(folder, "everything.csv"), row.names = FALSE, quote = FALSE, eol = "\n")
}
make_everything()

# ---- Cases ------------------------------------------------------------------

p <- na.omit(example("penguins.csv")[c("species", "sex", "flipper_length", "body_mass",
                                       "beak_depth", "beak_length")])
for (v in c("species", "sex")) p[[v]] <- factor(p[[v]])
one <- rep(1, nrow(p))
p_terms <- list(term("species", "species"), term("sex", "sex"),
                term("flipper_length", powers = c(flipper_length = 1)),
                term("species:sex", c("species", "sex")))
p_formula <- "body_mass ~ species + sex + flipper_length + species:sex"
lm_p <- lm(body_mass ~ species + sex + flipper_length + species:sex, p)
lm_sum <- lm(formula(lm_p), p, contrasts = list(species = contr.sum, sex = contr.sum))
for (type in 1:3) {
  e <- linear_effects(type, p_terms, p, p$body_mass, one, TRUE)
  known <- if (type == 1) anova(lm_p) else Anova(if (type == 2) lm_p else lm_sum, type = type)
  rows <- vapply(p_terms, `[[`, "", "label")
  close_to(vapply(e, `[[`, 0, "sum_of_squares"), known[rows, "Sum Sq"])
  close_to(vapply(e, `[[`, 0, "statistic"), known[rows, "F value"])
  write_effects(paste0("penguins_", type), "penguins.csv", p_formula,
                c("--anova", as.character(type)), e, fit_statistics(lm_p))
}

cars <- na.omit(example("cars.csv")[c("miles_per_gallon", "weight", "horsepower", "displacement",
                                      "origin")])
cars$origin <- factor(cars$origin)
c_terms <- list(term("weight", powers = c(weight = 1)), term("I(weight^2)", powers = c(weight = 2)),
                term("horsepower", powers = c(horsepower = 1)), term("origin", "origin"),
                term("origin:weight", "origin", c(weight = 1)))
c_formula <- "miles_per_gallon ~ weight + I(weight^2) + horsepower + origin + origin:weight"
lm_c <- lm(miles_per_gallon ~ weight + I(weight^2) + horsepower + origin + origin:weight, cars,
           contrasts = list(origin = contr.sum))
for (type in 1:3) {
  e <- linear_effects(type, c_terms, cars, cars$miles_per_gallon, rep(1, nrow(cars)), TRUE)
  if (type == 1) close_to(vapply(e, `[[`, 0, "sum_of_squares"), anova(lm_c)[1:5, "Sum Sq"], 7)
  if (type == 3) {
    known <- Anova(lm_c, type = 3)[c("weight", "I(weight^2)", "horsepower", "origin",
                                     "weight:origin"), ]
    close_to(vapply(e, `[[`, 0, "sum_of_squares"), known[["Sum Sq"]], 6)
  }
  write_effects(paste0("cars_", type), "cars.csv", c_formula, c("--anova", as.character(type)), e,
                fit_statistics(lm_c))
}

v_formula <- "miles_per_gallon ~ weight + horsepower + displacement + origin"
lm_v <- lm(formula(v_formula), cars)
e <- linear_effects(2, list(term("weight", powers = c(weight = 1)),
                            term("horsepower", powers = c(horsepower = 1)),
                            term("displacement", powers = c(displacement = 1)),
                            term("origin", "origin")),
                    cars, cars$miles_per_gallon, rep(1, nrow(cars)), TRUE)
close_to(vapply(e, `[[`, 0, "statistic"), Anova(lm_v)[1:4, "F value"])
lm_last <- update(lm_v, contrasts = list(origin = contr.SAS))
write_effects("cars_vif", "cars.csv", v_formula, c("--vif"), e, fit_statistics(lm_v),
              list(gvif = vif(lm_v)[, "GVIF"], condition = condition_number(model.matrix(lm_last))))
lm_0 <- lm(miles_per_gallon ~ 0 + weight + horsepower, cars)
e <- linear_effects(2, list(term("weight", powers = c(weight = 1)),
                            term("horsepower", powers = c(horsepower = 1))),
                    cars, cars$miles_per_gallon, rep(1, nrow(cars)), FALSE)
close_to(vapply(e, `[[`, 0, "statistic"), Anova(lm_0)[1:2, "F value"])
write_effects("cars_no_intercept", "cars.csv", "miles_per_gallon ~ 0 + weight + horsepower",
              c("--anova"), e, fit_statistics(lm_0))

d <- read.csv(file.path(folder, "everything.csv"))
long <- d[rep(seq_len(nrow(d)), d$f), ]
e_terms <- list(term("a", "a"), term("b", "b"), term("x", powers = c(x = 1)),
                term("I(x^2)", powers = c(x = 2)), term("z", powers = c(z = 1)),
                term("a:b", c("a", "b")), term("a:town", c("a", "town")),
                term("a:s", "a", c(s = 1)))
e_formula <- "y ~ a + b + x + I(x^2) + z + a:b + town %in% a + a:s"
lm_e <- lm(y ~ a + b + x + I(x^2) + a:b + a:town + a:s, long, weights = w)
e_options <- c("--freq-weight", "f", "--regression-weight", "w")
stopifnot(lm_e$rank == fit_least_squares(design(e_terms, long)$x, long$y, long$w)$rank)
for (type in 1:3) {
  e <- linear_effects(type, e_terms, long, long$y, long$w, TRUE)
  write_effects(paste0("everything_", type), "effects/everything.csv", e_formula,
                c(e_options, "--anova", as.character(type)), e, fit_statistics(lm_e))
}

# Logistic: two levels against glm and car, three against multinom.
b_terms <- list(term("species", "species"), term("beak_depth", powers = c(beak_depth = 1)),
                term("species:beak_depth", "species", c(beak_depth = 1)))
b_formula <- "sex ~ species + beak_depth + species:beak_depth"
glm_b <- glm(sex ~ species * beak_depth, binomial, p, control = list(epsilon = 1e-14),
             contrasts = list(species = contr.sum))
wald <- Anova(glm_b, type = 3, test.statistic = "Wald")["beak_depth", ]
wald <- list(beak_depth = list(term = "beak_depth", df = wald$Df, df_residual = NA,
                               statistic = wald$Chisq, p_value = wald[["Pr(>Chisq)"]],
                               sum_of_squares = NA))
for (type in 1:3) {
  e <- logistic_effects(type, b_terms, p, p$sex, one, wald)
  chi <- vapply(e, `[[`, 0, "statistic")
  if (type == 1) close_to(chi, anova(glm_b, test = "LRT")[-1, "Deviance"], 6)
  if (type == 2) close_to(chi, Anova(glm_b, type = 2)[["LR Chisq"]], 6)
  if (type == 3) close_to(chi[-2], Anova(glm_b, type = 3)[["LR Chisq"]][-2], 6)
  write_effects(paste0("sex_", type), "penguins.csv", b_formula, c("--anova", as.character(type)),
                e, list(aic = AIC(glm_b), bic = BIC(glm_b)))
}
glm_v <- glm(sex ~ species + beak_depth + body_mass, binomial, p, control = list(epsilon = 1e-14))
chi <- Anova(glm_v)[["LR Chisq"]]
write_effects("sex_vif", "penguins.csv", "sex ~ species + beak_depth + body_mass",
              c("--vif", "--anova"),
              Map(function(t, s, df) list(term = t, df = df, df_residual = NA, statistic = s,
                                          p_value = pchisq(s, df, lower.tail = FALSE),
                                          sum_of_squares = NA),
                  c("species", "beak_depth", "body_mass"), chi, c(2, 1, 1)),
              list(), list(gvif = vif(glm_v)[, "GVIF"], condition = NA))

k_terms <- list(term("a", "a"), term("b", "b"), term("x", powers = c(x = 1)),
                term("I(x^2)", powers = c(x = 2)), term("z", powers = c(z = 1)),
                term("a:b", c("a", "b")))
for (type in 1:2) {
  e <- logistic_effects(type, k_terms, d, factor(d$k), d$f * d$w)
  write_effects(paste0("everything_logistic_", type), "effects/everything.csv",
                "k ~ a + b + x + I(x^2) + z + a:b", c(e_options, "--anova", as.character(type)), e)
}
