# Means over a grid of levels, their differences and contrasts, computed by R.
#
#   Rscript tests/reference/means/make.R
#
# writes means.csv beside this script: a row for each number's case, table and labels. Needs the
# packages emmeans, sandwich and numDeriv (made with R 4.2.2, emmeans 1.8.4, sandwich 3.0-2,
# numDeriv 2016.8).
#
# Linear and binary models: emmeans. Probabilities of a binary model: emmeans after regrid(), which
# averages them. The logistic model of three levels with redundant columns, which multinom() does not
# take: Newton's iteration, and means of its rows written out, with numDeriv's derivatives.

options(digits = 17, warn = 1)
invisible(Sys.setlocale("LC_COLLATE", "C"))
suppressMessages({ library(emmeans); library(sandwich); library(numDeriv) })
emm_options(msg.interaction = FALSE, msg.nesting = FALSE)

script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
rows <- NULL

put <- function(case, table, kind, scale, level, label, s) {
  number <- function(name) if (name %in% names(s)) as.numeric(s[[name]]) else NA_real_
  first <- function(names) { for (n in names) if (n %in% names(s)) return(number(n)); NA_real_ }
  rows <<- rbind(rows, data.frame(
    name = case, list = table, kind, scale, level, label,
    estimate = first(c("emmean", "estimate", "prob", "response")), error = number("SE"),
    df = replace(number("df"), is.infinite(number("df")), NA),
    statistic = first(c("t.ratio", "z.ratio")), p = number("p.value"), adjusted = number("adjusted"),
    lower = first(c("lower.CL", "asymp.LCL")), upper = first(c("upper.CL", "asymp.UCL"))))
}

label_of <- function(frame, factors) do.call(paste, c(lapply(frame[factors], as.character), sep = ":"))

# A table of means and of their differences.
table_of <- function(case, e, factors, scale = "response", level = "") {
  name <- paste(factors, collapse = ":")
  s <- as.data.frame(summary(e, infer = c(TRUE, FALSE)))
  put(case, name, "mean", scale, level, label_of(s, factors), s)
  n <- nrow(s)
  lab <- label_of(s, factors)
  d <- as.data.frame(summary(pairs(e), infer = TRUE, adjust = "none"))
  d$adjusted <- as.data.frame(summary(pairs(e), adjust = "holm"))$p.value
  ij <- combn(n, 2)
  put(case, name, "difference", scale, level, paste(lab[ij[1, ]], lab[ij[2, ]], sep = " - "), d)
}

contrast_of <- function(case, text, e, weights, scale = "response", level = "") {
  d <- as.data.frame(summary(contrast(e, list(c = weights)), infer = TRUE, adjust = "none"))
  put(case, "", "contrast", scale, level, text, d)
}

example <- function(name, columns) {
  na.omit(read.csv(file.path(folder, "..", "..", "..", "examples", "data", name),
                   na.strings = c("", "NA"), stringsAsFactors = TRUE)[columns])
}

# ---- Penguins -------------------------------------------------------------------

p <- example("penguins.csv", c("species", "sex", "island", "flipper_length", "body_mass",
                               "beak_length"))
m <- lm(body_mass ~ species * sex + log(flipper_length) + beak_length + I(beak_length^2), p)
table_of("penguins", emmeans(m, ~species), "species")
e <- emmeans(m, ~ sex + species)
table_of("penguins", e, c("species", "sex"))
at <- emmeans(m, ~flipper_length, at = list(flipper_length = c(200, 190)))
contrast_of("penguins", "flipper_length=200 - flipper_length=190", at, c(1, -1))
contrast_of("penguins", "species=Gentoo & sex=male - 0.5*species=Adelie - 1/2*species=Chinstrap",
            emmeans(m, ~ species + sex), c(-0.25, -0.25, 0, -0.25, -0.25, 1))
at <- emmeans(m, ~ species + beak_length, at = list(beak_length = c(40, 45)))
contrast_of("penguins", "species=Gentoo, beak_length=45 - species=Gentoo & beak_length=40", at,
            c(0, 0, -1, 0, 0, 1))

# Numbers with two values are kept, expressions and a factor of the same column are computed.
cars <- mtcars
write.csv(cars, file.path(folder, "cars.csv"), row.names = FALSE, quote = FALSE, eol = "\n")
m <- lm(mpg ~ factor(gear) + gear:wt + am * wt + I(am * hp) + scale(hp), cars)
table_of("cars", emmeans(m, ~gear), "gear")
table_of("cars", emmeans(m, ~am), "am")

# ---- The model with everything ----------------------------------------------------

d <- read.csv(file.path(folder, "..", "effects", "everything.csv"), stringsAsFactors = TRUE)
long <- d[rep(seq_len(nrow(d)), d$f), ]
m <- lm(y ~ a + b + x + I(x^2) + z + a:b + a:town + a:s, long, weights = w)
everything <- function(case, ...) {
  table_of(case, emmeans(m, ~b, ...), "b")
  table_of(case, emmeans(m, ~a, ...), "a")
  table_of(case, emmeans(m, ~ b + a, ...), c("a", "b"))
  table_of(case, emmeans(m, ~ town, ...), c("town", "a"))
  at <- emmeans(m, ~x, at = list(x = c(1, 0)), ...)
  contrast_of(case, "x=1 - x=0", at, c(1, -1))
  at <- emmeans(m, ~ x + z, at = list(x = c(1, 0), z = c(1, 3)), ...)
  contrast_of(case, "x=1 & z=1 - x=0 & z=3", at, c(1, 0, 0, -1))
  cells <- emmeans(m, ~ a + b, ...)
  contrast_of(case, "a=p & b=u - a=q & b=v", cells, replace(rep(0, 12), c(1, 5), c(1, -1)))
  contrast_of(case, "a=p & b=w - a=q & b=w", cells, replace(rep(0, 12), c(7, 8), c(1, -1)))
}
everything("everything")
everything("everything_hc3", vcov. = vcovHC(m, type = "HC3"))

# Without a crossing of the factor, means need the empty cell and differences do not.
g <- d; g$u <- factor(ifelse(g$s > 0, "high", "low"))
write.csv(g, file.path(folder, "halves.csv"), row.names = FALSE, quote = FALSE, eol = "\n")
g <- g[rep(seq_len(nrow(g)), g$f), ]
m <- lm(y ~ u + a * b, g, weights = w)
table_of("halves", emmeans(m, ~u), "u")

# ---- Binary -----------------------------------------------------------------------

control <- glm.control(epsilon = 1e-15, maxit = 100)
binary <- function(case, m, factors, level, reference, ...) {
  specs <- reformulate(rev(factors))
  table_of(case, emmeans(m, specs, ...), factors, "link", level)
  both <- regrid(ref_grid(m, ...), "response")
  table_of(case, emmeans(both, specs), factors, "probability", level)
}
m <- glm(sex ~ species + island + log(body_mass), binomial, p, control = control)
binary("sex", m, "species", "male")
at <- list(body_mass = c(4000, 3500))
contrast_of("sex", "body_mass=4000 - body_mass=3500", emmeans(m, ~body_mass, at = at), c(1, -1),
            "link", "male")
contrast_of("sex", "body_mass=4000 - body_mass=3500",
            emmeans(regrid(ref_grid(m, at = at), "response"), ~body_mass), c(1, -1), "probability",
            "male")
binary("sex_cluster", m, "island", "male", vcov. = vcovCL(m, cluster = p$island, type = "HC1"))
# Without z, which changes no mean: glm() with so small an epsilon takes it for independent.
m <- suppressWarnings(glm(k == "low" ~ a + b + x + I(x^2) + a:b + a:s, binomial, long, weights = w,
                          control = control))
binary("binary", m, "b", "true")
binary("binary", m, c("a", "b"), "true")

# ---- Three levels with redundant columns --------------------------------------------

levels_k <- c("high", "low", "mid")
block <- function(data) {
  columns <- list(rep(1, nrow(data)))
  for (v in levels(d$a)) columns <- c(columns, list(data$a == v))
  for (v in levels(d$b)) columns <- c(columns, list(data$b == v))
  columns <- c(columns, list(data$x, data$x^2, data$z))
  for (v in levels(d$a)) for (u in levels(d$b)) {
    columns <- c(columns, list(data$a == v & data$b == u))
  }
  do.call(cbind, columns) + 0
}
x <- block(d)
q <- qr(x, tol = 1e-9)
kept <- sort(q$pivot[seq_len(q$rank)])
v <- svd(x, nu = 0, nv = ncol(x))$v
null <- v[, -seq_len(q$rank), drop = FALSE]
x <- x[, kept]
y <- outer(as.character(d$k), levels_k[1:2], "==") + 0
weight <- d$f * d$w
n_par <- ncol(x)
probabilities <- function(b, x) {
  eta <- cbind(x %*% matrix(b, n_par), 0)
  e <- exp(eta - apply(eta, 1, max))
  e / rowSums(e)
}
information <- function(b) {
  pr <- probabilities(b, x)
  h <- matrix(0, 2 * n_par, 2 * n_par)
  for (i in 1:2) for (j in 1:2) {
    block <- crossprod(x, x * (weight * pr[, i] * ((i == j) - pr[, j])))
    h[(i - 1) * n_par + seq_len(n_par), (j - 1) * n_par + seq_len(n_par)] <- block
  }
  h
}
b <- rep(0, 2 * n_par)
for (i in 1:30) {
  score <- crossprod(x, weight * (y - probabilities(b, x)[, 1:2]))
  b <- b + solve(information(b), as.vector(score))
}
V <- solve(information(b))
average <- function(v) sum(d$f * v) / sum(d$f)
grid <- expand.grid(a = levels(d$a), b = levels(d$b), x = average(d$x), z = average(d$z))
full <- block(grid)
estimable <- apply(abs(full %*% null), 1, max) < 1e-8
finish <- function(f, is_estimable) {
  e <- f(b)
  g <- jacobian(f, b, method.args = list(r = 6))
  se <- sqrt(diag(g %*% V %*% t(g)))
  z <- e / se
  s <- data.frame(estimate = e, SE = se, z.ratio = z, p.value = 2 * pnorm(-abs(z)),
                  asymp.LCL = e - qnorm(0.975) * se, asymp.UCL = e + qnorm(0.975) * se)
  s[!is_estimable, ] <- NA
  s
}
three <- function(factors) {
  cell <- label_of(grid, factors)
  name <- paste(factors, collapse = ":")
  cells <- unique(cell[do.call(order, grid[factors])])
  share <- t(sapply(cells, function(c) (cell == c) / sum(cell == c)))
  ij <- combn(length(cells), 2)
  differ <- t(apply(ij, 2, function(p) replace(rep(0, length(cells)), p, c(1, -1))))
  all_of <- function(m) apply(m != 0, 1, function(r) all(estimable[r]))
  null_of <- function(m) apply(abs(m %*% full %*% null), 1, max) < 1e-8
  both <- function(f, is_of, scale, level, ok_mean, ok_difference) {
    s <- finish(function(b) drop(share %*% f(b)), ok_mean)
    put("three", name, "mean", scale, level, cells, s[c("estimate", "SE", "asymp.LCL", "asymp.UCL")])
    s <- finish(function(b) drop(differ %*% share %*% f(b)), ok_difference)
    s$adjusted <- NA
    known <- !is.na(s$p.value)
    s$adjusted[known] <- p.adjust(s$p.value[known], "holm", n = nrow(s))
    put("three", name, "difference", scale, level,
        paste(cells[ij[1, ]], cells[ij[2, ]], sep = " - "), s)
  }
  for (i in 1:2) {
    both(function(b) full[, kept] %*% matrix(b, n_par)[, i], NULL, "link", levels_k[i],
         null_of(share), null_of(differ %*% share))
  }
  ok <- all_of(share)
  for (i in 1:3) {
    both(function(b) probabilities(b, full[, kept])[, i], NULL, "probability", levels_k[i], ok,
         ok[ij[1, ]] & ok[ij[2, ]])
  }
}
three("b")
three(c("a", "b"))

# ---- The file ----------------------------------------------------------------------

for (column in names(rows)) {
  if (is.numeric(rows[[column]])) {
    rows[[column]] <- ifelse(is.na(rows[[column]]), "", sprintf("%.17g", rows[[column]]))
  }
}
write.csv(rows, file.path(folder, "means.csv"), row.names = FALSE, quote = TRUE, eol = "\n")
