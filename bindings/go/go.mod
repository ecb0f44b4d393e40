module zelvan.com/go/zelvan

go 1.19
