{"id",1,
{"name" "value"}
}
