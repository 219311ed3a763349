# The tables of the logistic cases that come with R: datasets and MASS.
#
#   Rscript tests/reference/logistic/tables.R
#
# writes data/NAME.csv. Columns that no case uses are left out.

library(MASS)
options(stringsAsFactors = FALSE, warn = 2)

script <- sub("^--file=", "", grep("^--file=", commandArgs(FALSE), value = TRUE))
folder <- file.path(dirname(script), "data")

write_table <- function(name, data) {
  write.csv(data, file.path(folder, paste0(name, ".csv")), row.names = FALSE, quote = FALSE,
            na = "", eol = "\n")
}

write_table("birthwt", birthwt[c("low", "age", "lwt", "race", "smoke", "ptl", "ht", "ui", "ftv")])
write_table("housing", housing)
write_table("infert", infert[c("education", "age", "parity", "induced", "case", "spontaneous")])

# One line of cases and one of controls for each group; a group may have none.
groups <- data.frame(lapply(esoph[c("agegp", "alcgp", "tobgp")], as.character))
write_table("esoph", rbind(data.frame(outcome = "case", groups, count = esoph$ncases),
                           data.frame(outcome = "control", groups, count = esoph$ncontrols)))

flowers <- iris
names(flowers) <- gsub(".", "_", tolower(names(iris)), fixed = TRUE)
write_table("iris", flowers)
write_table("iris_two", subset(flowers, species != "setosa"))

# Every 20th record of the space shuttle's radiator positions, all records of the four classes that
# are rare, and those with V2 or V4 far out, where the classes overlap. `Part` leaves these last
# ones out: without them some classes lie apart.
if (requireNamespace("mlbench", quietly = TRUE)) {
  data(Shuttle, package = "mlbench")
  rare <- names(which(table(Shuttle$Class) < 200))
  part <- seq_len(nrow(Shuttle)) %% 20 == 1 | Shuttle$Class %in% rare
  far <- abs(Shuttle$V2) > 30 | abs(Shuttle$V4) > 30
  Shuttle$Part <- replace(as.character(Shuttle$Class), !part, NA)
  write_table("shuttle", Shuttle[part | far, c("Class", "Part", "V1", "V2", "V3", "V4")])
}
