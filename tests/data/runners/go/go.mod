module zelvan.com/go/zelvan/caserunner

go 1.19

require zelvan.com/go/zelvan v0.0.0

replace zelvan.com/go/zelvan => ../../../../bindings/go
