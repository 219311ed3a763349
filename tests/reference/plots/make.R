# The plots of a linear model, computed by R.
#
#   Rscript tests/reference/plots/make.R
#
# writes, beside this script, cars.csv with a row for each car that the model of
# examples/data/cars.csv uses: its fitted value, what was observed, residual,
# standardized residual, leverage, and the normal quantile of that residual. Made with R
# 4.2.2. qqnorm places the i-th of n at (i - 1/2) / n where n is above 10.

options(digits = 17, stringsAsFactors = FALSE)
script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- if (length(script) == 1) dirname(script) else "."

d <- read.csv(file.path(folder, "../../../examples/data/cars.csv"))
m <- lm(miles_per_gallon ~ weight + origin, d)
out <- data.frame(fitted = fitted(m), observed = fitted(m) + residuals(m),
                  residual = residuals(m), standardized = rstandard(m), leverage = hatvalues(m),
                  normal = qqnorm(rstandard(m), plot.it = FALSE)$x)
write.csv(sapply(out, sprintf, fmt = "%.17g"), file.path(folder, "cars.csv"), row.names = FALSE,
          quote = FALSE, eol = "\n")
