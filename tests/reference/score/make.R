# Intervals of predictions and standard errors of probabilities, computed by R.
#
#   Rscript tests/reference/score/make.R
#
# reads ../robust/everything.csv and writes, beside this script, linear.csv and binary.csv
# with a row for each row of that table: predict() of lm with its limits of 90 % for the
# mean and for a single record (of weight 1), predict() of glm with its standard error.
# Made with R 4.2.2.
#
# Records are repeated by their frequency weight; the regression weight is that of lm and glm.

options(digits = 17, stringsAsFactors = FALSE)
script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."
path <- function(name) file.path(folder, name)

d <- read.csv(path("../robust/everything.csv"), na.strings = "")
repeated <- function(used) used[rep(seq_len(nrow(used)), used$f), ]
write <- function(columns, name) {
  text <- lapply(columns, function(v) ifelse(is.na(v), "", sprintf("%.17g", v)))
  write.csv(as.data.frame(text, check.names = FALSE), path(name), row.names = FALSE,
            quote = FALSE, eol = "\n")
}

fitted <- lm(y ~ a + b + x + I(x^2), repeated(d[!is.na(d$r), ]), weights = r)
mean_of <- predict(fitted, d, se.fit = TRUE, interval = "confidence", level = 0.9)
single <- suppressWarnings(predict(fitted, d, interval = "prediction", level = 0.9))
write(list(predicted = mean_of$fit[, "fit"], std_error = mean_of$se.fit,
           conf_low = mean_of$fit[, "lwr"], conf_high = mean_of$fit[, "upr"],
           pred_low = single[, "lwr"], pred_high = single[, "upr"]), "linear.csv")

fitted <- suppressWarnings(glm(I(yb == "yes") ~ a + x, binomial, repeated(d[!is.na(d$r), ]),
                               weights = r, control = list(epsilon = 1e-15, maxit = 100)))
p <- predict(fitted, d, type = "response", se.fit = TRUE)
write(list(p_no = 1 - p$fit, p_yes = p$fit, se_no = p$se.fit, se_yes = p$se.fit), "binary.csv")
