module zelvan

go 1.19
